#include "yox/decision/DeviceFacts.h"

namespace yox::decision {
const Pairs& NoPairs() {
  static const Pairs none;
  return none;
}

const TextsFact& DeviceFacts::Subscriptions() {
  return Fetched(OtherBit(FilterField::device_subscription), slots_.of.subscriptions,
                 [&] { return FetchSubscriptions(); });
}

const PairsFact& DeviceFacts::InstalledItems() {
  return Fetched(OtherBit(FilterField::installed_items), slots_.of.installed_items,
                 [&] { return FetchInstalledItems(); });
}

const HardwareIdsFact& DeviceFacts::PresentHardwareIds() {
  return Fetched(OtherBit(FilterField::hardware_id), slots_.of.hardware_ids,
                 [&] { return FetchHardwareIds(); });
}

BucketFact DeviceFacts::Bucket(bool of_organisation) {
  const unsigned which = of_organisation ? 1 : 0;
  return Fetched(Bit(kBucketBit + which), slots_.of.buckets[which],
                 [&] { return FetchBucket(of_organisation); });
}

std::int64_t DeviceFacts::Now() {
  return Fetched(Bit(kNowBit), slots_.of.now, [&] { return FetchNow(); });
}

const LocalDays& DeviceFacts::Today() {
  return Fetched(OtherBit(FilterField::date_range), slots_.of.today, [&] { return FetchToday(); });
}

std::optional<PairView> DeviceFacts::FindTag(const TextPattern& name) {
  auto found = Tags().pairs->First(name, extra_tags_);
  if (!found) found = FirstOf(extra_tags_, name);
  return found;
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
