#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <span>
#include <type_traits>

#include "yox/base/Export.h"
#include "yox/base/FoldedText.h"
#include "yox/base/WString.h"
#include "yox/decision/Dates.h"
#include "yox/decision/FilterFields.h"
#include "yox/decision/HardwareIdRequirement.h"
#include "yox/decision/MatchOperators.h"
#include "yox/decision/RegistryRequirement.h"
#include "yox/decision/Truth.h"

// The facts of a device that a decision can use. All texts are UTF-16. A view in a fact must stay
// valid as long as the DeviceFacts object that returned it.
namespace yox::decision {

enum class Knowledge : std::uint8_t {
  kKnown,
  kMissing,  // known not to be there: no firmware tables, no organisation, no target version
  kUnknown,
};

// A text of the device, or that it has none, or that this is not known.
struct TextFact {
  Knowledge knowledge = Knowledge::kUnknown;
  bool is_folded = false;         // the letter case of `text` is folded
  WStringView given = {};         // as the device has it
  WStringView text = {};          // without surrounding white space
  std::uint64_t fingerprint = 0;  // of `text`, as FoldedText.h has it; 0: not computed yet

  // Returns the fingerprint, which the first call computes.
  std::uint64_t Fingerprint() {
    if (fingerprint == 0) fingerprint = yox::Fingerprint(text);
    return fingerprint;
  }

  // Whether the text can be compared with folded texts as it is.
  bool IsKnownAndFolded() const { return knowledge == Knowledge::kKnown && is_folded; }

  // Returns the fact for a text as the device has it. Keeps the view.
  static TextFact Of(WStringView given, Knowledge knowledge = Knowledge::kKnown) {
    return {knowledge, false, given, String::Trimmed(given)};
  }
};

// A version of the device or of the client.
struct VersionFact {
  Knowledge knowledge = Knowledge::kUnknown;
  VersionText text = VersionText({});
};

// A list of texts: the subscriptions. Empty unless known.
struct TextsFact {
  Knowledge knowledge = Knowledge::kUnknown;
  std::span<const WString> texts = {};
};

// An ordered list of pairs of a name and a text: tags, installed items.
class PairSource {
 public:
  virtual ~PairSource() = default;

  // Returns the first pair whose name the pattern matches, except pairs whose name is equal, letter
  // case included, to a name in `except`. The pattern must be one of a compiled list.
  virtual std::optional<PairView> First(const TextPattern& name, const Pairs& except) const = 0;
};

class PreparedPairs;

// The tags or the installed items, known or unknown as a whole.
struct PairsFact {
  Knowledge knowledge = Knowledge::kUnknown;
  const PairSource* pairs = nullptr;        // set when known
  const PreparedPairs* prepared = nullptr;  // the same, if they are of this class
};

// The hardware IDs that are present, known or unknown as a whole.
struct HardwareIdsFact {
  Knowledge knowledge = Knowledge::kUnknown;
  const HardwareIds* ids = nullptr;  // set when known
};

// A registry value, or the stage at which reading it ended.
struct RegistryFact {
  enum class Stage : std::uint8_t { kUnknown, kNoKey, kNoValue, kTooLong, kRead };

  Stage stage = Stage::kUnknown;
  WStringView text =
      {};  // as a requirement's data is compared with it; valid until the next value is read
};

// The bucket, 0 to 4095, that decides from which day of a roll-out on the device takes part.
struct BucketFact {
  Knowledge knowledge = Knowledge::kUnknown;
  int bucket = 0;
};

// By field: the place of a text in an array, or kNotReady.
using ReadyPlaces = std::array<std::uint8_t, kFilterFieldCount>;
inline constexpr std::uint8_t kNotReady = UINT8_MAX;
inline constexpr ReadyPlaces kNothingReady = [] {
  ReadyPlaces places{};
  places.fill(kNotReady);
  return places;
}();

// The facts of one device at one moment, together with what the caller of a decision adds: target
// version and extra tags. Each fact is fetched when a criterion first needs it, and then kept: the
// object may serve many lists as long as the device does not change. For one thread at a time.
//
// Derive from it to decide for another kind of device. A Fetch function that is not overridden
// means that the fact is unknown. An exception from a Fetch function ends the decision and reaches
// its caller.
class YOX_API DeviceFacts {
 public:
  virtual ~DeviceFacts() = default;
  DeviceFacts(const DeviceFacts&) = delete;
  DeviceFacts& operator=(const DeviceFacts&) = delete;

  // Returns the text that the criterion of this field is compared with. A criterion notes in it the
  // fingerprint.
  TextFact& Text(FilterField field) {
    return Fetched(Bit(field), slots_.of.texts[static_cast<std::size_t>(field)],
                   [&] { return FetchText(field); });
  }
  // Whether the same text is known and in the form in which it is compared already.
  bool IsReady(FilterField field) const {
    return ready_places_[static_cast<std::size_t>(field)] != kNotReady;
  }
  // Returns it in that form; it must be ready. Costs no call.
  const FoldedView& Ready(FilterField field) const {
    return ready_texts_[ready_places_[static_cast<std::size_t>(field)]];
  }
  // Returns the fact for os_version, version or target_version. Criteria store the parsed version
  // in it.
  VersionFact& Version(FilterField field) {
    return Fetched(OtherBit(field), slots_.of.versions[VersionSlot(field)],
                   [&] { return FetchVersion(field); });
  }
  const TextsFact& Subscriptions();
  const PairsFact& Tags() {
    return Fetched(OtherBit(FilterField::tag), slots_.of.tags, [&] { return FetchTags(); });
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
  // Returns the first tag whose name the pattern matches: a stored tag before one of the caller's.
  // The tags must be known.
  std::optional<PairView> FindTag(const TextPattern& name);

  // Returns the moment at which a day begins. A month or day out of range carries over, as in
  // mktime; a day before 1970 begins at -1.
  virtual DayStart StartOfDay(int year, int month, int day);
  // Reads the value that a requirement names. Not kept: each call reads it again.
  virtual RegistryFact ReadRegistry(const CompiledRegistryRequirement& requirement);

  // Return whether a requirement is satisfied, by default according to the facts above.
  virtual Truth MeetsRegistry(const CompiledRegistryRequirement& requirement);
  virtual Truth MeetsHardwareId(WStringView required, const HardwareIdRequirement& requirement);

  // Called when a version criterion has trimmed the white space around a version text. Override it
  // to show the trimmed text to the caller of the decision.
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

  // From now on these texts are ready, which must be those of known facts; both arguments must
  // outlive the object. The texts may change.
  void SetReady(const FoldedView* texts, const ReadyPlaces& places) {
    ready_texts_ = texts;
    ready_places_ = places.data();
  }

  // Drops the facts of the field's criterion, so that they are fetched again when next needed.
  void Forget(FilterField field) { fetched_ &= ~(Bit(field) | OtherBit(field)); }

 private:
  // The bits of `fetched_`: for each field that of its text and, from kOtherBit on, that of the
  // fact in another form, such as a version or the tags.
  static constexpr unsigned kNowBit = kFilterFieldCount;
  static constexpr unsigned kBucketBit = kNowBit + 1;  // two
  static constexpr unsigned kOtherBit = kBucketBit + 2;
  static_assert(kOtherBit + kFilterFieldCount <= 64);

  static constexpr std::uint64_t Bit(unsigned number) { return std::uint64_t{1} << number; }
  static constexpr std::uint64_t Bit(FilterField field) {
    return Bit(static_cast<unsigned>(field));
  }
  static constexpr std::uint64_t OtherBit(FilterField field) {
    return Bit(kOtherBit + static_cast<unsigned>(field));
  }
  static constexpr std::size_t VersionSlot(FilterField field) {
    return field == FilterField::os_version ? 0 : field == FilterField::version ? 1 : 2;
  }

  // Returns the value in the slot, which `fetch` creates when it is first needed.
  template <class Value, class Fetch>
  Value& Fetched(std::uint64_t bit, Value& slot, Fetch fetch) {
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

  std::uint64_t fetched_ = 0;
  const Pairs& extra_tags_;
  const FoldedView* ready_texts_ = nullptr;
  const std::uint8_t* ready_places_ = kNothingReady.data();
  Slots slots_;
};

// Returns an empty list, for callers without tags.
YOX_API const Pairs& NoPairs();

}  // namespace yox::decision
