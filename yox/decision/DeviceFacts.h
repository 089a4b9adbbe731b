#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <span>
#include <type_traits>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/decision/Dates.h"
#include "yox/decision/FilterFields.h"
#include "yox/decision/Fingerprint.h"
#include "yox/decision/HardwareIdRequirement.h"
#include "yox/decision/MatchOperators.h"
#include "yox/decision/RegistryRequirement.h"
#include "yox/decision/Truth.h"

// What a decision may ask of a device. All texts are UTF-16; a view that a fact holds must be valid
// for as long as the DeviceFacts object that gave it.
namespace yox::decision {

enum class Knowledge : std::uint8_t {
  kKnown,
  kMissing,  // known not to be there: no firmware tables, no organisation, no target version
  kUnknown,
};

struct TextFact {
  Knowledge knowledge = Knowledge::kUnknown;
  bool is_folded = false;         // the letter case of `text` is folded
  WStringView given = {};         // as the device has it
  WStringView text = {};          // without surrounding white space
  std::uint64_t fingerprint = 0;  // of `text`, as Fingerprint.h has it; 0: not computed yet

  std::uint64_t Fingerprint() {
    if (fingerprint == 0) fingerprint = decision::Fingerprint(text);
    return fingerprint;
  }

  static TextFact Of(WStringView given, Knowledge knowledge = Knowledge::kKnown) {
    return {knowledge, false, given, String::Trimmed(given)};
  }
};

struct VersionFact {
  Knowledge knowledge = Knowledge::kUnknown;
  VersionText text = VersionText({});
};

struct TextsFact {
  Knowledge knowledge = Knowledge::kUnknown;
  std::span<const WString> texts = {};
};

// Pairs of names and texts, in an order that counts: tags, installed items.
class PairSource {
 public:
  virtual ~PairSource() = default;

  // The first pair whose name the pattern matches and is not exactly, letter case included, a name
  // of `except`. The pattern is one of a compiled list.
  virtual std::optional<PairView> First(const TextPattern& name, const Pairs& except) const = 0;
};

struct PairsFact {
  Knowledge knowledge = Knowledge::kUnknown;
  const PairSource* pairs = nullptr;  // set when known
};

struct HardwareIdsFact {
  Knowledge knowledge = Knowledge::kUnknown;
  const HardwareIds* ids = nullptr;  // set when known
};

// A value of the registry, and how far the way to it led.
struct RegistryFact {
  enum class Stage : std::uint8_t { kUnknown, kNoKey, kNoValue, kTooLong, kRead };

  Stage stage = Stage::kUnknown;
  WStringView text = {};  // as the data of a requirement sees it; valid until the next one is read
};

struct BucketFact {
  Knowledge knowledge = Knowledge::kUnknown;
  int bucket = 0;
};

// The facts of one device at one moment, together with what the caller of a decision adds: target
// version and extra tags. Each fact is fetched when the first criterion needs it, and once: the
// object may serve many lists while nothing about the device changes. For one thread at a time.
//
// Derive from it to decide on a device of another kind. A Fetch function that is not overridden
// says that the fact is unknown. What a Fetch function throws leaves the decision.
class YOX_API DeviceFacts {
 public:
  virtual ~DeviceFacts() = default;
  DeviceFacts(const DeviceFacts&) = delete;
  DeviceFacts& operator=(const DeviceFacts&) = delete;

  // A text that a criterion is held against, by the criterion's field. A criterion notes in it the
  // fingerprint.
  TextFact& Text(FilterField field) {
    return Fetched(Bit(field), slots_.of.texts[static_cast<std::size_t>(field)],
                   [&] { return FetchText(field); });
  }
  // os_version, version, target_version. A criterion notes in it what it has parsed.
  VersionFact& Version(FilterField field) {
    return Fetched(Bit(field), slots_.of.versions[VersionSlot(field)],
                   [&] { return FetchVersion(field); });
  }
  const TextsFact& Subscriptions();
  const PairsFact& Tags() {
    return Fetched(Bit(FilterField::tag), slots_.of.tags, [&] { return FetchTags(); });
  }
  const PairsFact& InstalledItems();
  const HardwareIdsFact& PresentHardwareIds();
  // The roll-out bucket of the device, or of its organisation.
  BucketFact Bucket(bool of_organisation);
  // The moment of the decision, in seconds since 1970.
  std::int64_t Now();
  const LocalDays& Today();

  // The caller's tags, which replace stored ones of exactly the same name.
  const Pairs& extra_tags() const { return extra_tags_; }
  // The first tag whose name the pattern matches, the caller's last. The tags are known.
  std::optional<PairView> FindTag(const TextPattern& name);

  // A month or day out of its range carries over; a day before 1970 begins at -1.
  virtual DayStart StartOfDay(int year, int month, int day);
  // Not kept: each requirement is looked up anew.
  virtual RegistryFact ReadRegistry(const CompiledRegistryRequirement& requirement);

  // Whether a requirement is met; by default what follows from the facts above. A device may have
  // its own way.
  virtual Truth MeetsRegistry(const CompiledRegistryRequirement& requirement);
  virtual Truth MeetsHardwareId(WStringView required, const HardwareIdRequirement& requirement);

  // A version criterion has looked at a text with white space around it, and sees it without from
  // here on. A device that shows its caller the trimmed text does so here.
  virtual void VersionWasTrimmed(FilterField field);

 protected:
  // `extra_tags` must outlive the object.
  explicit DeviceFacts(const Pairs& extra_tags) : extra_tags_(extra_tags) {}

  virtual TextFact FetchText(FilterField field);
  virtual VersionFact FetchVersion(FilterField field);
  virtual TextsFact FetchSubscriptions();
  virtual PairsFact FetchTags();
  virtual PairsFact FetchInstalledItems();
  virtual HardwareIdsFact FetchHardwareIds();
  virtual BucketFact FetchBucket(bool of_organisation);
  virtual std::int64_t FetchNow() = 0;
  virtual LocalDays FetchToday();

  // Fetches the fact again when it is asked for next.
  void Forget(FilterField field) { fetched_ &= ~Bit(field); }

 private:
  // Bits of `fetched_` after those of the fields.
  static constexpr unsigned kNowBit = kFilterFieldCount;
  static constexpr unsigned kBucketBit = kNowBit + 1;  // two

  static constexpr std::uint32_t Bit(unsigned number) { return std::uint32_t{1} << number; }
  static constexpr std::uint32_t Bit(FilterField field) {
    return Bit(static_cast<unsigned>(field));
  }
  static constexpr std::size_t VersionSlot(FilterField field) {
    return field == FilterField::os_version ? 0 : field == FilterField::version ? 1 : 2;
  }
  bool IsFetched(FilterField field) const { return (fetched_ & Bit(field)) != 0; }

  // The value in the slot, built there by `fetch` when it is first needed.
  template <class Value, class Fetch>
  Value& Fetched(std::uint32_t bit, Value& slot, Fetch fetch) {
    if ((fetched_ & bit) == 0) {
      static_assert(std::is_trivially_destructible_v<Value>);
      ::new (static_cast<void*>(&slot)) Value(fetch());
      fetched_ |= bit;
    }
    return slot;
  }

  // Most decisions fetch a few facts of many: those that are not fetched are never initialised.
  union Slots {
    Slots() {}
    struct {
      TextFact texts[kFilterFieldCount];
      VersionFact versions[3];
      TextsFact subscriptions;
      PairsFact tags;
      PairsFact installed_items;
      HardwareIdsFact hardware_ids;
      BucketFact buckets[2];
      LocalDays today;
      std::int64_t now;
    } of;
  };

  std::uint32_t fetched_ = 0;
  const Pairs& extra_tags_;
  Slots slots_;
};

// No tags of the caller's.
YOX_API const Pairs& NoPairs();

}  // namespace yox::decision
