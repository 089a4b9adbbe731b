#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "yox/base/LocalDate.h"
#include "yox/base/TimeZone.h"
#include "yox/base/WString.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/Facts.h"
#include "yox/decision/PreparedDevice.h"

namespace yox::facts {

// UTF-16 texts of one document; all of them go at once, and the memory serves the next document.
class TextScratch {
 public:
  // Small enough to be returned in registers.
  struct Texts {
    WStringView given() const { return {units, size}; }
    WStringView folded() const { return {units + folded_at, size}; }  // its letter case is folded

    const WChar* units = nullptr;
    std::uint32_t size = 0;
    std::uint32_t folded_at = 0;
  };

  // The text has to be well-formed.
  Texts Widen(std::string_view utf8);
  void Clear();

 private:
  static constexpr std::size_t kBlock = 8192;

  WChar* Take(std::size_t size) {
    if (size > left_) return TakeOfAnotherBlock(size);
    left_ -= size;
    return std::exchange(next_, next_ + size);
  }
  WChar* TakeOfAnotherBlock(std::size_t size);

  std::vector<std::unique_ptr<WChar[]>> blocks_;  // of kBlock units each
  std::vector<std::unique_ptr<WChar[]>> large_;
  std::size_t used_blocks_ = 0;
  std::size_t left_ = 0;
  WChar* next_ = nullptr;
};

// Pairs of which those are converted that cannot be compared as they are.
class LinePairs final : public decision::PairSource {
 public:
  // Converted texts are in the scratch, which must outlive the object.
  explicit LinePairs(TextScratch& scratch) : scratch_(scratch) {}

  void Clear() {
    entries_.clear();
    is_known_ = false;
  }
  void Begin() { is_known_ = true; }
  void Add(std::string_view name, std::string_view value) { entries_.push_back({name, value}); }
  bool is_known() const { return is_known_; }

  std::optional<decision::PairView> First(const decision::TextPattern& name,
                                          const decision::Pairs& except) const override;

 private:
  struct Entry {
    std::string_view name_utf8;
    std::string_view value_utf8;
    // Their units are null before the conversion.
    TextScratch::Texts name = {};
    TextScratch::Texts value = {};
  };

  TextScratch& scratch_;
  mutable std::vector<Entry> entries_;
  bool is_known_ = false;
};

// The facts of one document as views of its UTF-8 texts, and of what was asked for in UTF-16. The
// sink of FactsReading. One object serves document after document.
class LineValues {
 public:
  void Clear();

  // For FactsReading.
  void Id(std::string_view id) { id_ = id; }
  bool TimeZone(std::string_view name);
  void Text(decision::FilterField field, std::string_view text) {
    utf8_[Index(field)] = text;
    known_ |= Bit(field);
  }
  void NoFirmware() { has_firmware_ = false; }
  void HashedText(bool is_realm, std::optional<std::string_view> text) {
    Hashed& hashed = hashed_[is_realm];
    hashed.knowledge = text ? decision::Knowledge::kKnown : decision::Knowledge::kMissing;
    hashed.is_digits = false;
    hashed.utf8 = text.value_or("");
    hashed.bucket.reset();
  }
  void Hash(bool is_realm, std::optional<std::string_view> digits);
  void Bucket(bool is_realm, std::optional<int> bucket);
  void Begin(decision::Fact fact, decision::Knowledge knowledge);
  void Subscription(std::string_view text) { subscriptions_utf8_.push_back(text); }
  void Tag(std::string_view name, std::string_view value) { tags_.Add(name, value); }
  void Item(std::string_view name, std::string_view version) { items_.Add(name, version); }
  void HardwareId(std::string_view id) { ids_utf8_.push_back(id); }
  void RegistryValue(std::string_view key, std::string_view name,
                     std::optional<std::string_view> text) {
    registry_.push_back({key, name, text});
  }

  // For decisions. Each fact is converted when it is asked for first.
  std::string_view id() const { return id_; }
  const std::optional<yox::TimeZone>& time_zone() const { return zone_->zone; }
  decision::DayStart StartOfDay(int year, int month, int day);
  decision::TextFact TextOf(decision::FilterField field);
  decision::VersionFact VersionOf(decision::FilterField field);
  decision::BucketFact BucketOf(bool is_realm);
  decision::TextsFact Subscriptions();
  decision::PairsFact Tags() { return PairsOf(tags_); }
  decision::PairsFact InstalledItems() { return PairsOf(items_); }
  decision::HardwareIdsFact HardwareIds();
  decision::RegistryFact RegistryOf(const decision::CompiledRegistryRequirement& requirement);

 private:
  struct Hashed {
    decision::Knowledge knowledge = decision::Knowledge::kUnknown;
    bool is_digits = false;      // `utf8` is the hash, not what it is computed from
    std::string_view utf8 = {};  // empty when missing
    std::optional<int> bucket = {};
  };
  struct RegistryEntry {
    std::string_view key_utf8;
    std::string_view name_utf8;
    std::optional<std::string_view> text_utf8;
  };

  static constexpr std::size_t Index(decision::FilterField field) {
    return static_cast<std::size_t>(field);
  }
  static constexpr std::uint32_t Bit(decision::FilterField field) {
    return std::uint32_t{1} << Index(field);
  }
  TextScratch::Texts MakeText(decision::FilterField field, decision::Knowledge& knowledge);
  TextScratch::Texts MakeHash(const Hashed& hashed, decision::Knowledge& knowledge);
  static decision::PairsFact PairsOf(const LinePairs& pairs);
  bool IsFolded(std::string_view utf8, WStringView folded);

  TextScratch scratch_;
  std::string_view id_;
  std::uint32_t known_ = 0;      // texts
  std::uint32_t converted_ = 0;  // texts
  std::uint32_t parsed_ = 0;     // versions
  bool has_firmware_ = true;
  std::string_view utf8_[decision::kFilterFieldCount];
  decision::TextFact texts_[decision::kFilterFieldCount];
  std::optional<decision::VersionFact> versions_[decision::kFilterFieldCount];
  Hashed hashed_[2];  // serial number, realm
  decision::Knowledge subscriptions_ = decision::Knowledge::kUnknown;
  std::vector<std::string_view> subscriptions_utf8_;
  std::vector<WString> subscription_texts_;
  LinePairs tags_{scratch_};
  LinePairs items_{scratch_};
  decision::Knowledge ids_ = decision::Knowledge::kUnknown;
  std::vector<std::string_view> ids_utf8_;
  std::optional<decision::PreparedHardwareIds> hardware_ids_;
  std::vector<RegistryEntry> registry_;

  // A time zone, and the beginning of the day that was asked for last.
  struct Zone {
    std::optional<yox::TimeZone> zone;
    LocalDate day = {};
    std::optional<decision::DayStart> start = {};
  };
  struct Hasher : std::hash<std::string_view> {
    using is_transparent = void;
  };
  using Zones = std::unordered_map<std::string, Zone, Hasher, std::equal_to<>>;

  Zone& FindZone(std::string_view name);

  // A fleet is in few zones.
  Zones zones_;
  std::array<Zones::value_type*, 256> recent_zones_ = {};  // by a hash of eight bits
  Zone no_zone_;
  Zone* zone_ = &no_zone_;
};

}  // namespace yox::facts
