#include "yox/applicability/RunningDevice.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>
#include <utility>

#include "yox/applicability/BucketCache.h"
#include "yox/applicability/HardwareIdFilter.h"
#include "yox/applicability/RegistryReading.h"
#include "yox/applicability/TrimInPlace.h"
#include "yox/base/String.h"
#include "yox/clientbase/EpUrlProvider.h"
#include "yox/clientbase/MSStorePackageEnumerator.h"
#include "yox/clientbase/SMBiosInformationRetriever.h"
#include "yox/decision/Dates.h"
#include "yox/decision/KnownValues.h"
#include "yox/device/DeviceInfoProvider.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/tags/AppAndTagCollection.h"

using yox::WString;
using yox::WStringView;
using yox::applicability::HardwareIdSnapshot;
using yox::applicability::MatchHardwareId;
using yox::decision::BucketFact;
using yox::decision::CompiledRegistryRequirement;
using yox::decision::DayStart;
using yox::decision::FilterField;
using yox::decision::HardwareIdRequirement;
using yox::decision::HardwareIdsFact;
using yox::decision::kFilterFieldCount;
using yox::decision::Knowledge;
using yox::decision::LocalDays;
using yox::decision::PairsFact;
using yox::decision::PairView;
using yox::decision::PreparedPairs;
using yox::decision::RegistryFact;
using yox::decision::TextFact;
using yox::decision::TextPattern;
using yox::decision::TextsFact;
using yox::decision::Truth;
using yox::decision::TruthOf;
using yox::decision::VersionFact;
using yox::decision::VersionText;
using yox::platform::Clock;
using yox::platform::Platform;

namespace {

const Clock& TheClock() { return Platform::Get().clock(); }

// The text that `fetch` gives, fetched once.
template <class Fetch>
WStringView Kept(std::optional<WString>& text, Fetch fetch) {
  if (!text) text = fetch();
  return *text;
}

}  // namespace

// Where each text comes from, by field: a text of the record, which may be one of the firmware, or
// a function. With both, the function decides whether it is the text of the record.
struct ApplicabilityEvaluator::RunningDevice::Source {
  using Fetch = TextFact (RunningDevice::*)();

  Text text = Text::kCount;  // none
  bool is_of_firmware = false;
  Fetch fetch = nullptr;

  bool IsNone() const { return text == Text::kCount && fetch == nullptr; }
};

struct ApplicabilityEvaluator::RunningDevice::Sources {
  static constexpr auto kByField = [] {
    std::array<Source, kFilterFieldCount> sources{};
    sources.fill(Source{});  // GCC 12 for Windows makes all members of the elements of {} zero
    const auto of = [&](FilterField field) -> Source& {
      return sources[static_cast<std::size_t>(field)];
    };
    of(FilterField::country) = {Text::os_region};
    of(FilterField::enclosure) = {Text::device_enclosuretype, true};
    of(FilterField::family) = {Text::device_family, true};
    of(FilterField::language) = {Text::os_language};
    // The record's own getter would return a copy of the record's text.
    of(FilterField::mfr) = {Text::device_manufacturer, true, &RunningDevice::Manufacturer};
    of(FilterField::model) = {Text::device_model, true};
    of(FilterField::org_hash).fetch = &RunningDevice::OrganisationHash;
    of(FilterField::os).fetch = &RunningDevice::OperatingSystem;
    of(FilterField::os_bitness).fetch = &RunningDevice::Bitness;
    of(FilterField::os_description) = {Text::os_description};
    of(FilterField::sku).fetch = &RunningDevice::Sku;
    of(FilterField::sn_hash).fetch = &RunningDevice::SerialNumberHash;
    return sources;
  }();
};

constexpr yox::decision::ReadyPlaces ApplicabilityEvaluator::RunningDevice::kReadyWithManufacturer =
    [] {
      yox::decision::ReadyPlaces places = yox::decision::kNothingReady;
      for (std::size_t i = 0; i < places.size(); ++i) {
        const Source& source = Sources::kByField[i];
        if (source.text != Text::kCount) places[i] = static_cast<std::uint8_t>(source.text);
      }
      return places;
    }();
constexpr yox::decision::ReadyPlaces ApplicabilityEvaluator::RunningDevice::kReady = [] {
  yox::decision::ReadyPlaces places = kReadyWithManufacturer;
  places[static_cast<std::size_t>(FilterField::mfr)] = yox::decision::kNotReady;
  return places;
}();

const MachineInformation& ApplicabilityEvaluator::RunningDevice::NotGiven() {
  throw std::invalid_argument("machineInformation");
}

ApplicabilityEvaluator::RunningDevice::Own::Own() = default;
ApplicabilityEvaluator::RunningDevice::Own::~Own() = default;
ApplicabilityEvaluator::RunningDevice::TagsInUse::TagsInUse() = default;
ApplicabilityEvaluator::RunningDevice::TagsInUse::~TagsInUse() = default;

ApplicabilityEvaluator::RunningDevice::Own& ApplicabilityEvaluator::RunningDevice::own() {
  if (!own_) own_.emplace();
  return *own_;
}

TextFact ApplicabilityEvaluator::RunningDevice::FetchText(FilterField field) {
  const Source& source = Sources::kByField[static_cast<std::size_t>(field)];
  if (source.fetch != nullptr) return (this->*source.fetch)();
  if (source.text == Text::kCount) return {};
  return OfRecord(source.text, source.is_of_firmware);
}

TextFact ApplicabilityEvaluator::RunningDevice::OfRecord(Text text, bool is_of_firmware) const {
  const yox::FoldedView& folded = machine_.Folded(text);
  return {is_of_firmware ? KnowledgeOfFirmware() : Knowledge::kKnown, true, machine_.View(text),
          folded.text, folded.fingerprint};
}

Knowledge ApplicabilityEvaluator::RunningDevice::KnowledgeOfFirmware() const {
  const bool is_missing =
      purpose_ == Purpose::kExplain && SMBiosInformationRetriever::GetInstance() == nullptr;
  return is_missing ? Knowledge::kMissing : Knowledge::kKnown;
}

TextFact ApplicabilityEvaluator::RunningDevice::Manufacturer() {
  if (!machine_.MayOverrideManufacturer()) return OfRecord(Text::device_manufacturer, true);
  return TextFact::Of(Kept(manufacturer_, [&] { return machine_.device_manufacturer(); }),
                      KnowledgeOfFirmware());
}

TextFact ApplicabilityEvaluator::RunningDevice::OrganisationHash() {
  const WStringView hash =
      Kept(own().organisation_hash, [&] { return yox::decision::SaltedHashOf(Realm()); });
  return TextFact::Of(hash, own().has_organisation ? Knowledge::kKnown : Knowledge::kMissing);
}

TextFact ApplicabilityEvaluator::RunningDevice::OperatingSystem() {
  return TextFact::Of(yox::decision::kOsText);
}

TextFact ApplicabilityEvaluator::RunningDevice::Bitness() {
  return TextFact::Of(yox::decision::BitnessText(
      static_cast<int>(YOX::DeviceInfoProvider::GetInstance()->GetCPUArchitecture())));
}

TextFact ApplicabilityEvaluator::RunningDevice::Sku() {
  auto* const firmware = SMBiosInformationRetriever::GetInstance();
  if (firmware == nullptr) return TextFact::Of({}, Knowledge::kMissing);
  return TextFact::Of(Kept(own().sku, [&] { return firmware->GetSKU(); }));
}

TextFact ApplicabilityEvaluator::RunningDevice::SerialNumberHash() {
  own().serial_number_hash = yox::decision::SaltedHashOf(machine_.View(Text::serial_number));
  return TextFact::Of(own().serial_number_hash);
}

const WString& ApplicabilityEvaluator::RunningDevice::Realm() {
  if (!own().realm) {
    own().realm.emplace();
    const auto* const provider = YOX::EpUrlProvider::GetInstance();
    own().has_organisation = provider != nullptr;
    if (own().has_organisation) provider->GetRealm(*own().realm);
  }
  return *own().realm;
}

namespace {

struct ParsedVersion {
  std::array<yox::WChar, 32> units{};
  std::size_t size = 0;
  VersionText version = VersionText(WStringView());
};

// The version that decisions of the thread parsed last. In a function of its own: a compiler looks
// up the address of a thread-local object at each use of it.
[[gnu::noinline]] ParsedVersion& LastOfThread() {
  constinit static thread_local ParsedVersion last;
  return last;
}

}  // namespace

// The version of the client is the same in most decisions, and comparing texts is cheaper than
// parsing one.
VersionText ApplicabilityEvaluator::RunningDevice::LastParsed(const WString& text) {
  ParsedVersion& last = LastOfThread();
  if (last.size != text.size() || !yox::SameUnits(last.units.data(), text.data(), text.size())) {
    if (text.size() > last.units.size()) return VersionText(text);
    std::ranges::copy(text, last.units.begin());
    last.size = text.size();
    last.version = VersionText(text);
    last.version.Parsed();
  }
  VersionText version = last.version;
  version.set_text(text);
  return version;
}

VersionFact ApplicabilityEvaluator::RunningDevice::FetchVersion(FilterField field) {
  switch (field) {
    case FilterField::os_version:
      return {Knowledge::kKnown,
              VersionText(machine_.View(Text::os_version), machine_.OsVersion())};
    case FilterField::target_version:
      if (target_version_ == nullptr) return {Knowledge::kMissing};
      return {Knowledge::kKnown, LastParsed(*target_version_)};
    default:
      return {Knowledge::kKnown, LastParsed(client_version_)};
  }
}

void ApplicabilityEvaluator::RunningDevice::VersionWasTrimmed(FilterField field) {
  if (purpose_ == Purpose::kExplain || field == FilterField::os_version) return;
  yox::decision::TrimInPlace(field == FilterField::version ? client_version_ : *target_version_);
  // Both, because the two may be one text.
  Forget(FilterField::version);
  Forget(FilterField::target_version);
}

TextsFact ApplicabilityEvaluator::RunningDevice::FetchSubscriptions() {
  const auto* const provider = YOX::EpUrlProvider::GetInstance();
  if (provider == nullptr) return {Knowledge::kMissing};
  provider->GetDeviceSubscriptionList(own().subscriptions);
  return {Knowledge::kKnown, own().subscriptions};
}

PairsFact ApplicabilityEvaluator::RunningDevice::FetchTags() {
  static const PreparedPairs& none = (new IndexedPairs(Pairs()))->index;
  const PreparedPairs& tags = tags_ == nullptr ? none : StoredTags();
  return {Knowledge::kKnown, &tags, &tags};
}

const PreparedPairs& ApplicabilityEvaluator::RunningDevice::StoredTags() {
  TagsInUse& in_use = tags_in_use_.emplace();
  const std::uint64_t generation = tags_->Generation();  // before the tags: they may change
  if (uses_kept_tags_) {
    in_use.kept.emplace(*evaluator_.kept_tags_);
    if (const PreparedPairs* const kept = in_use.kept->Get(generation)) return *kept;
    in_use.kept.reset();
  }
  in_use.shared = evaluator_.Indexed(AppAndTagCollection::Shared(tags_));
  if (uses_kept_tags_) evaluator_.kept_tags_->Keep(in_use.shared, generation);
  return in_use.shared->index;
}

std::optional<PairView> ApplicabilityEvaluator::RunningDevice::Items::First(
    const TextPattern& name, const Pairs& /*except*/) const {
  const auto found = installed->index.First(name, yox::decision::NoPairs());
  return found ? found : FirstOf(store, name);
}

PairsFact ApplicabilityEvaluator::RunningDevice::FetchInstalledItems() {
  own().items.installed = evaluator_.InstalledItems();
  for (auto& [name, version] :
       YOX::MSStorePackageEnumerator::GetInstance()->GetAllMSStoreAppsDetails()) {
    own().items.store.emplace_back(name, version);
  }
  return {Knowledge::kKnown, &own().items};
}

HardwareIdsFact ApplicabilityEvaluator::RunningDevice::FetchHardwareIds() {
  const HardwareIdRepository* const present = yox::applicability::PresentIds();
  if (present == nullptr) return {Knowledge::kMissing};
  own().hardware_ids = std::make_unique<HardwareIdSnapshot>(*present);
  return {Knowledge::kKnown, own().hardware_ids.get()};
}

Truth ApplicabilityEvaluator::RunningDevice::MeetsHardwareId(
    WStringView required, const HardwareIdRequirement& requirement) {
  return TruthOf(MatchHardwareId(required, requirement));
}

BucketFact ApplicabilityEvaluator::RunningDevice::FetchBucket(bool of_organisation) {
  const WStringView text = of_organisation ? Realm() : machine_.View(Text::serial_number);
  return {Knowledge::kKnown, evaluator_.buckets_->BucketOf(text)};
}

std::int64_t ApplicabilityEvaluator::RunningDevice::FetchNow() { return TheClock().Now(); }

LocalDays ApplicabilityEvaluator::RunningDevice::FetchToday() {
  return LocalDays::Of(TheClock().ToLocalDate(Now()));
}

DayStart ApplicabilityEvaluator::RunningDevice::StartOfDay(int year, int month, int day) {
  return DayStart::Of(TheClock().StartOfLocalDay(year, month, day));
}

Truth ApplicabilityEvaluator::RunningDevice::MeetsRegistry(
    const CompiledRegistryRequirement& requirement) {
  const bool met = evaluator_.MeetsRegistryRequirement(requirement);
  // The host may have had a say there, and changed the record or the caller's texts.
  ForgetViews();
  return TruthOf(met);
}

RegistryFact ApplicabilityEvaluator::RunningDevice::ReadRegistry(
    const CompiledRegistryRequirement& requirement) {
  RegistryReading reading =
      evaluator_.ReadRegistry(yox::applicability::KeyOf(*requirement.hive),
                              WString(requirement.key), WString(requirement.name));
  own().registry_text = std::move(reading.text);
  return {reading.stage, own().registry_text};
}

void ApplicabilityEvaluator::RunningDevice::ForgetViews() {
  for (std::size_t i = 0; i < kFilterFieldCount; ++i) {
    if (!Sources::kByField[i].IsNone()) Forget(static_cast<FilterField>(i));
  }
  for (const FilterField field :
       {FilterField::os_version, FilterField::version, FilterField::target_version}) {
    Forget(field);
  }
}
