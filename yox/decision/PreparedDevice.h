#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <unordered_set>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/FoldedText.h"
#include "yox/base/String.h"
#include "yox/base/TimeZone.h"
#include "yox/base/WString.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/FactsRecord.h"
#include "yox/decision/TextArena.h"

namespace yox::decision {

// Pairs whose names are in a hash table: finding a name takes constant time. Immutable, so safe
// from any thread.
class PreparedPairs final : public PairSource {
 public:
  PreparedPairs(const Pairs& pairs, TextArena& arena);

  bool empty() const { return entries_.empty(); }
  std::optional<PairView> First(const TextPattern& name, const Pairs& except) const override;
  // Whether the first pair that has the name has the value, too. Both patterns must be texts.
  bool FirstIs(const TextPattern& name, const TextPattern& value) const {
    const std::uint32_t found = Find(name);
    return found != kNone && Equals(entries_[found].pair.value, value.text);
  }
  // Returns false only if FirstIs does; mostly right. Takes the fingerprints: of most names that
  // are there with another value, or not at all, no text has to be read.
  bool FirstMayBe(std::uint64_t name, std::uint64_t value) const {
    return tags_.empty() || values_[Scan(name)] == value;
  }

 private:
  static constexpr std::uint32_t kNone = UINT32_MAX;
  static constexpr std::size_t kMostScanned = 64;
  static constexpr std::size_t kAtOnce = 16;

  struct Entry {
    PairView pair;
    std::uint32_t next = kNone;  // the next entry of an equal folded name
  };
  struct Slot {
    std::uint64_t fingerprint = 0;
    std::uint32_t first = kNone;  // of the entries of one folded name
  };

  static std::uint16_t TagOf(std::uint64_t fingerprint) {
    return static_cast<std::uint16_t>(fingerprint);
  }
  static bool Equals(WStringView text, WStringView folded) {
    const WStringView trimmed = String::Trimmed(text);
    return trimmed.size() == folded.size() && EqualsFolded(trimmed.data(), folded);
  }
  // Returns the number, from 1 on, of the only entry that may have the name; 0 if there is none.
  // Looks at all tags at once, without a branch that depends on them.
  std::size_t Scan(std::uint64_t name) const {
    const std::uint16_t tag = TagOf(name);
    if (tag == no_tag_) return 0;
    std::uint16_t found = 0;
    for (std::size_t i = 0; i < tags_.size(); i += kAtOnce) {
      for (std::size_t j = i; j < i + kAtOnce; ++j) {
        found = static_cast<std::uint16_t>(found | (tags_[j] == tag ? j + 1 : 0));
      }
    }
    return found;
  }
  // Returns kNone if no pair has the name.
  std::uint32_t Find(const TextPattern& name) const;
  void ScanTags(const std::vector<std::uint64_t>& names, const Pairs& pairs);
  void HashNames(const std::vector<std::uint64_t>& names);

  std::vector<Entry> entries_;
  // Of a few pairs whose names have different tags: the tags, filled up with `no_tag_` to a
  // multiple of kAtOnce, and by number the fingerprint of the value without surrounding white
  // space. A device's tags, mostly, which then cost three lines of the cache.
  std::vector<std::uint16_t> tags_;
  std::vector<std::uint64_t> values_;
  std::uint16_t no_tag_ = 0;
  std::vector<Slot> slots_;  // of all others: a hash table with linear probing; 2^n slots
};

// The present hardware IDs in hash tables. Immutable, so safe from any thread.
class PreparedHardwareIds final : public HardwareIds {
 public:
  // The IDs are kept in upper case.
  explicit PreparedHardwareIds(const std::vector<WString>& ids);
  PreparedHardwareIds(const PreparedHardwareIds&) = delete;
  PreparedHardwareIds& operator=(const PreparedHardwareIds&) = delete;

  bool Contains(WStringView id) const override;
  bool ContainsAnyFolded(std::span<const WStringView> ids) const override;
  std::span<const WString> All() const override { return ids_; }

 private:
  // Finds by a view, without a copy.
  struct Hash : std::hash<WStringView> {
    using is_transparent = void;
  };

  std::vector<WString> ids_;
  std::unordered_set<WStringView> exact_;  // of the IDs
  std::unordered_set<WString, Hash, std::equal_to<>> folded_;
};

// The facts of one device with texts trimmed, folded and parsed, for deciding many lists.
// Immutable, so safe from any thread; each thread needs a PreparedFacts of its own.
class YOX_API PreparedDevice {
 public:
  explicit PreparedDevice(const FactsRecord& record);

  PreparedDevice(PreparedDevice&& other) noexcept;
  PreparedDevice& operator=(PreparedDevice&& other) noexcept;
  ~PreparedDevice();

 private:
  friend class PreparedFacts;

  struct RegistryEntry {
    WStringView key;   // folded, with its hive
    WStringView name;  // folded
    std::optional<WStringView> text;
  };

  TextFact Fold(const Given<WString>& given);

  TextArena arena_;
  std::vector<TextFact> texts_;  // by field, up to the last that is used
  VersionFact os_version_;
  VersionFact version_;
  BucketFact buckets_[2];  // of the device, of its organisation
  std::optional<TimeZone> time_zone_;
  Given<std::vector<WString>> subscriptions_;
  std::unique_ptr<PreparedPairs> tags_;
  std::unique_ptr<PreparedPairs> installed_items_;
  std::unique_ptr<PreparedHardwareIds> hardware_ids_;
  std::vector<RegistryEntry> registry_;  // sorted by key and name
};

// The inputs of a decision other than the device and the list.
struct Question {
  std::int64_t now = 0;  // seconds since 1970
  std::optional<WString> target_version = {};
  Pairs extra_tags = {};
};

// The facts that come from a question and from the device's time zone, if it is known. Both must
// outlive the object. Derive from it for what the device has.
class YOX_API QuestionFacts : public DeviceFacts {
 public:
  DayStart StartOfDay(int year, int month, int day) override;

 protected:
  QuestionFacts(const Question& question, const std::optional<TimeZone>& time_zone)
      : DeviceFacts(question.extra_tags), question_(question), time_zone_(time_zone) {}

  // os_version or version.
  virtual VersionFact FetchDeviceVersion(FilterField field) = 0;

 private:
  VersionFact FetchVersion(FilterField field) final;
  std::int64_t FetchNow() final { return question_.now; }
  LocalDays FetchToday() final;

  const Question& question_;
  const std::optional<TimeZone>& time_zone_;
};

// The facts of a prepared device for one Question. Device and question must outlive it. For one
// thread at a time; the same object may decide many lists.
class YOX_API PreparedFacts final : public QuestionFacts {
 public:
  PreparedFacts(const PreparedDevice& device, const Question& question)
      : QuestionFacts(question, device.time_zone_), device_(device) {}

  RegistryFact ReadRegistry(const CompiledRegistryRequirement& requirement) override;

 private:
  TextFact FetchText(FilterField field) override;
  VersionFact FetchDeviceVersion(FilterField field) override;
  TextsFact FetchSubscriptions() override;
  PairsFact FetchTags() override;
  PairsFact FetchInstalledItems() override;
  HardwareIdsFact FetchHardwareIds() override;
  BucketFact FetchBucket(bool of_organisation) override;

  const PreparedDevice& device_;
};

}  // namespace yox::decision
