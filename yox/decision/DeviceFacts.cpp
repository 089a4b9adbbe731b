#include "yox/decision/DeviceFacts.h"

namespace yox::decision {
namespace {

constexpr std::size_t VersionSlot(FilterField field) {
  return field == FilterField::os_version ? 0 : field == FilterField::version ? 1 : 2;
}

}  // namespace

const Pairs& NoPairs() {
  static const Pairs none;
  return none;
}

VersionFact& DeviceFacts::Version(FilterField field) {
  VersionFact& fact = versions_[VersionSlot(field)];
  if (!IsFetched(field)) {
    fact = FetchVersion(field);
    fetched_ |= Bit(field);
  }
  return fact;
}

const TextsFact& DeviceFacts::Subscriptions() {
  if (!IsFetched(FilterField::device_subscription)) {
    subscriptions_ = FetchSubscriptions();
    fetched_ |= Bit(FilterField::device_subscription);
  }
  return subscriptions_;
}

const PairsFact& DeviceFacts::Tags() {
  if (!IsFetched(FilterField::tag)) {
    tags_ = FetchTags();
    fetched_ |= Bit(FilterField::tag);
  }
  return tags_;
}

const PairsFact& DeviceFacts::InstalledItems() {
  if (!IsFetched(FilterField::installed_items)) {
    installed_items_ = FetchInstalledItems();
    fetched_ |= Bit(FilterField::installed_items);
  }
  return installed_items_;
}

const HardwareIdsFact& DeviceFacts::PresentHardwareIds() {
  if (!IsFetched(FilterField::hardware_id)) {
    hardware_ids_ = FetchHardwareIds();
    fetched_ |= Bit(FilterField::hardware_id);
  }
  return hardware_ids_;
}

BucketFact DeviceFacts::Bucket(bool of_organisation) {
  std::optional<BucketFact>& bucket = buckets_[of_organisation ? 1 : 0];
  if (!bucket) bucket = FetchBucket(of_organisation);
  return *bucket;
}

std::int64_t DeviceFacts::Now() {
  if (!now_) now_ = FetchNow();
  return *now_;
}

const LocalDays& DeviceFacts::Today() {
  if (!IsFetched(FilterField::date_range)) {
    today_ = FetchToday();
    fetched_ |= Bit(FilterField::date_range);
  }
  return today_;
}

std::optional<PairView> DeviceFacts::FindTag(const TextPattern& name) {
  if (const auto found = Tags().pairs->First(name, extra_tags_)) return found;
  return FindInPairs{extra_tags_}(name);
}

Truth DeviceFacts::MeetsRegistry(const CompiledRegistryRequirement& requirement) {
  if (!requirement.CanHold()) return Truth::kFalse;
  const RegistryFact value = ReadRegistry(requirement);
  if (value.stage == RegistryFact::Stage::kUnknown) return Truth::kUnknown;
  return TruthOf(value.stage == RegistryFact::Stage::kRead &&
                 requirement.pattern.Matches(String::Trimmed(value.text)));
}

Truth DeviceFacts::MeetsHardwareId(WStringView /*required*/,
                                   const HardwareIdRequirement& requirement) {
  const HardwareIdsFact& present = PresentHardwareIds();
  if (present.knowledge == Knowledge::kUnknown) return Truth::kUnknown;
  return TruthOf(present.ids != nullptr && requirement.Matches(*present.ids));
}

DayStart DeviceFacts::StartOfDay(int year, int month, int day) {
  return DayStart::Anywhere(year, month, day);
}

LocalDays DeviceFacts::FetchToday() { return LocalDays::Anywhere(Now()); }

RegistryFact DeviceFacts::ReadRegistry(const CompiledRegistryRequirement& /*requirement*/) {
  return {};
}
void DeviceFacts::VersionWasTrimmed(FilterField /*field*/) {}
TextFact DeviceFacts::FetchText(FilterField /*field*/) { return {}; }
VersionFact DeviceFacts::FetchVersion(FilterField /*field*/) { return {}; }
TextsFact DeviceFacts::FetchSubscriptions() { return {}; }
PairsFact DeviceFacts::FetchTags() { return {}; }
PairsFact DeviceFacts::FetchInstalledItems() { return {}; }
HardwareIdsFact DeviceFacts::FetchHardwareIds() { return {}; }
BucketFact DeviceFacts::FetchBucket(bool /*of_organisation*/) { return {}; }

}  // namespace yox::decision
