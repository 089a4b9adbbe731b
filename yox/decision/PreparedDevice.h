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

  // Name and value of a pair in the form in which they are compared: trimmed, the letter case
  // folded. They are side by side, as are those of all pairs: a device whose pairs are searched
  // again and again takes few lines of the cache.
  struct Folded {
    const WChar* units;
    std::uint32_t name_size;
    std::uint32_t value_size;

    WStringView name() const { return {units, name_size}; }
    WStringView value() const { return {units + name_size, value_size}; }
  };

  bool empty() const { return entries_.empty(); }
  std::optional<PairView> First(const TextPattern& name, const Pairs& except) const override;
  // Returns the first pair that has the name, which must be a text alone; null if there is none.
  const Folded* FirstNamed(const TextPattern& name) const {
    const Part part = PartOf(name.fingerprint);
    for (std::uint64_t i = PlaceOf(name.fingerprint);; ++i) {
      const Part found = slots_[i & slot_mask_].name;
      if (found == 0) return nullptr;
      if (found != part) continue;
      const Folded& first = folded_[firsts_[i & slot_mask_]];
      if (first.name_size == name.text.size() &&
          SameUnits(first.units, name.text.data(), name.text.size())) {
        return &first;
      }
    }
  }
  // Returns false if the first pair that has the name has another value, or if there is none, and
  // rarely otherwise. Takes the fingerprints: of most pairs no text has to be read.
  bool FirstMayBe(std::uint64_t name, std::uint64_t value) const {
    const Part part = PartOf(name);
    for (std::uint64_t i = PlaceOf(name);; ++i) {
      const Slot& slot = slots_[i & slot_mask_];
      if (slot.name == part) return slot.value == PartOf(value) || is_ambiguous_;
      if (slot.name == 0) return false;
    }
  }

 private:
  static constexpr std::uint32_t kNone = UINT32_MAX;

  struct Entry {
    PairView pair;
    std::uint32_t next = kNone;  // the next entry of an equal folded name
  };
  // Parts of the fingerprints of a name, 0 if the slot is empty, and of the first value it has.
  // Short ones: most devices of a fleet are not in the cache.
  using Part = std::uint16_t;
  struct Slot {
    Part name = 0;
    Part value = 0;
  };

  // Of a fingerprint: the part in a slot, never 0, and of a name's the part that numbers the slot.
  // The higher bits: the lowest ones depend on few units of the text.
  static Part PartOf(std::uint64_t fingerprint) { return static_cast<Part>(fingerprint >> 48 | 1); }
  static std::uint64_t PlaceOf(std::uint64_t fingerprint) { return fingerprint >> 32; }

  void Add(std::uint32_t entry, std::uint64_t name, std::uint64_t value);

  std::vector<Entry> entries_;
  std::vector<Folded> folded_;  // of the same pairs
  // A hash table with linear probing of 2^n slots, at most a third of them full: in most look-ups
  // the first slot is the last.
  std::vector<Slot> slots_;
  std::uint64_t slot_mask_;
  std::vector<std::uint32_t> firsts_;  // by slot, the first of the entries that have its name
  bool is_ambiguous_ = false;          // different names have the same part of a fingerprint
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
  std::vector<TextFact> texts_;    // by field, up to the last that is used
  std::vector<FoldedView> ready_;  // those that are known
  ReadyPlaces ready_places_ = kNothingReady;
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
      : QuestionFacts(question, device.time_zone_), device_(device) {
    SetReady(device.ready_.data(), device.ready_places_);
  }

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
