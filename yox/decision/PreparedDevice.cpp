#include "yox/decision/PreparedDevice.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <utility>

#include "yox/base/FoldedText.h"
#include "yox/base/String.h"
#include "yox/decision/KnownValues.h"

namespace yox::decision {
namespace {

WString FoldedText(WStringView text) {
  WString folded(text);
  std::ranges::transform(folded, folded.begin(), String::FoldCase);
  return folded;
}

bool IsAmong(const Pairs& pairs, WStringView name) {
  return std::ranges::any_of(pairs, [&](const auto& pair) { return pair.key() == name; });
}

VersionFact Parsed(const TextFact& fact) {
  VersionFact version{fact.knowledge, VersionText(fact.given)};
  version.text.Parsed();  // copies keep what was parsed
  return version;
}

}  // namespace

std::array<Given<WString>, kFilterFieldCount> FactsRecord::NewTexts() {
  std::array<Given<WString>, kFilterFieldCount> texts;
  texts[static_cast<std::size_t>(FilterField::os)] = Given<WString>::Known(WString(kOsText));
  return texts;
}

void FactsRecord::SetSerialNumber(const Given<WString>& given) {
  if (given.knowledge == Knowledge::kUnknown) return;
  serial_number = given;
  text(FilterField::sn_hash) = {given.knowledge, SaltedHashOf(given.value)};
  rollout_bucket = Given<int>::Known(RolloutBucket(text(FilterField::sn_hash).value));
}

void FactsRecord::SetRealm(const Given<WString>& given) {
  if (given.knowledge == Knowledge::kUnknown) return;
  realm = given;
  text(FilterField::org_hash) = {given.knowledge, SaltedHashOf(given.value)};
  organisation_bucket = Given<int>::Known(RolloutBucket(text(FilterField::org_hash).value));
}

bool FactsRecord::SetTimeZone(std::string_view name) {
  const std::optional<TimeZone> zone = TimeZone::Parse(name);
  if (!zone) return false;
  time_zone = zone;
  time_zone_name = name;
  return true;
}

PreparedPairs::PreparedPairs(const Pairs& pairs, TextArena& arena)
    : slots_(std::bit_ceil(3 * pairs.size() + 1)),
      slot_mask_(slots_.size() - 1),
      firsts_(slots_.size(), kNone) {
  entries_.reserve(pairs.size());
  folded_.reserve(pairs.size());
  for (const auto& pair : pairs) {
    const WStringView name = String::Trimmed(pair.key());
    const WStringView value = String::Trimmed(pair.value());
    const WStringView both = arena.KeepFolded(WString(name).append(value));
    folded_.push_back({both.data(), static_cast<std::uint32_t>(name.size()),
                       static_cast<std::uint32_t>(value.size())});
  }
  for (const auto& pair : pairs) {
    const WStringView key = arena.Keep(pair.key());
    entries_.push_back({{key, arena.Keep(pair.value())}});
  }
  // From the last on: of those of one name the first comes to stand before the others.
  for (std::size_t i = pairs.size(); i-- != 0;) {
    Add(static_cast<std::uint32_t>(i), pairs[i].key_fingerprint(), pairs[i].value_fingerprint());
  }
}

void PreparedPairs::Add(std::uint32_t entry, std::uint64_t name, std::uint64_t value) {
  const Part part = PartOf(name);
  for (std::uint64_t i = PlaceOf(name);; ++i) {
    Slot& slot = slots_[i & slot_mask_];
    std::uint32_t& first = firsts_[i & slot_mask_];
    if (slot.name == part && folded_[first].name() != folded_[entry].name()) {
      is_ambiguous_ = true;
      continue;
    }
    if (slot.name != part && slot.name != 0) continue;
    entries_[entry].next = std::exchange(first, entry);
    slot = {part, PartOf(value)};
    return;
  }
}

std::optional<PairView> PreparedPairs::First(const TextPattern& name, const Pairs& except) const {
  if (name.IsText()) {
    const Folded* const first = FirstNamed(name);
    if (first == nullptr) return std::nullopt;
    for (auto i = static_cast<std::uint32_t>(first - folded_.data()); i != kNone;
         i = entries_[i].next) {
      if (!IsAmong(except, entries_[i].pair.key)) return entries_[i].pair;
    }
    return std::nullopt;
  }
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    const PairView& pair = entries_[i].pair;
    if (name.MatchesFolded(folded_[i].name()) && !IsAmong(except, pair.key)) return pair;
  }
  return std::nullopt;
}

PreparedHardwareIds::PreparedHardwareIds(const std::vector<WString>& ids) {
  ids_.reserve(ids.size());
  for (const WString& id : ids) ids_.push_back(String::ToUpper(id));
  for (const WString& id : ids_) {
    exact_.insert(id);
    folded_.insert(FoldedText(String::Trimmed(id)));
  }
}

bool PreparedHardwareIds::Contains(WStringView id) const { return exact_.contains(id); }

bool PreparedHardwareIds::ContainsAnyFolded(std::span<const WStringView> ids) const {
  return std::ranges::any_of(ids, [&](WStringView id) { return folded_.contains(id); });
}

PreparedDevice::PreparedDevice(const FactsRecord& record)
    : time_zone_(record.time_zone), subscriptions_(record.device_subscriptions) {
  texts_.reserve(record.texts.size());
  ready_.reserve(record.texts.size());
  for (const Given<WString>& given : record.texts) {
    const TextFact& fact = texts_.emplace_back(Fold(given));
    if (!fact.IsKnownAndFolded()) continue;
    ready_places_[texts_.size() - 1] = static_cast<std::uint8_t>(ready_.size());
    ready_.push_back({fact.text, fact.fingerprint});
  }
  os_version_ = Parsed(texts_[static_cast<std::size_t>(FilterField::os_version)]);
  version_ = Parsed(texts_[static_cast<std::size_t>(FilterField::version)]);
  buckets_[0] = {record.rollout_bucket.knowledge, record.rollout_bucket.value};
  buckets_[1] = {record.organisation_bucket.knowledge, record.organisation_bucket.value};
  if (record.tags) tags_ = std::make_unique<PreparedPairs>(*record.tags, arena_);
  if (record.installed_items) {
    installed_items_ = std::make_unique<PreparedPairs>(*record.installed_items, arena_);
  }
  if (record.hardware_ids) {
    hardware_ids_ = std::make_unique<PreparedHardwareIds>(*record.hardware_ids);
  }
  for (const FactsRecord::RegistryValue& value : record.registry) {
    const WStringView key = String::Trimmed(value.key, "\\"_wv);
    RegistryEntry& entry = registry_.emplace_back(
        RegistryEntry{arena_.KeepFolded(key), arena_.KeepFolded(value.name), {}});
    if (value.text) entry.text = arena_.Keep(*value.text);
  }
  std::ranges::stable_sort(registry_, {},
                           [](const auto& entry) { return std::pair(entry.key, entry.name); });
}

PreparedDevice::PreparedDevice(PreparedDevice&& other) noexcept = default;
PreparedDevice& PreparedDevice::operator=(PreparedDevice&& other) noexcept = default;
PreparedDevice::~PreparedDevice() = default;

TextFact PreparedDevice::Fold(const Given<WString>& given) {
  if (given.knowledge == Knowledge::kUnknown) return {};
  const WStringView text = arena_.Keep(given.value);
  const WStringView folded = arena_.KeepFolded(String::Trimmed(text));
  return {given.knowledge, true, text, folded, Fingerprint(folded)};
}

TextFact PreparedFacts::FetchText(FilterField field) {
  return device_.texts_[static_cast<std::size_t>(field)];
}

VersionFact PreparedFacts::FetchDeviceVersion(FilterField field) {
  return field == FilterField::os_version ? device_.os_version_ : device_.version_;
}

VersionFact QuestionFacts::FetchVersion(FilterField field) {
  if (field != FilterField::target_version) return FetchDeviceVersion(field);
  if (!question_.target_version) return {Knowledge::kMissing};
  return {Knowledge::kKnown, VersionText(*question_.target_version)};
}

TextsFact PreparedFacts::FetchSubscriptions() {
  return {device_.subscriptions_.knowledge, device_.subscriptions_.value};
}

PairsFact PreparedFacts::FetchTags() {
  if (device_.tags_ == nullptr) return {};
  return {Knowledge::kKnown, device_.tags_.get(), device_.tags_.get()};
}

PairsFact PreparedFacts::FetchInstalledItems() {
  if (device_.installed_items_ == nullptr) return {};
  return {Knowledge::kKnown, device_.installed_items_.get()};
}

HardwareIdsFact PreparedFacts::FetchHardwareIds() {
  if (device_.hardware_ids_ == nullptr) return {};
  return {Knowledge::kKnown, device_.hardware_ids_.get()};
}

BucketFact PreparedFacts::FetchBucket(bool of_organisation) {
  return device_.buckets_[of_organisation ? 1 : 0];
}

LocalDays QuestionFacts::FetchToday() {
  if (!time_zone_) return LocalDays::Anywhere(Now());
  return LocalDays::Of(time_zone_->ToLocalDate(Now()));
}

DayStart QuestionFacts::StartOfDay(int year, int month, int day) {
  if (!time_zone_) return DayStart::Anywhere(year, month, day);
  return DayStart::Of(time_zone_->StartOfLocalDay(year, month, day));
}

RegistryFact PreparedFacts::ReadRegistry(const CompiledRegistryRequirement& requirement) {
  using enum RegistryFact::Stage;
  using Entry = PreparedDevice::RegistryEntry;
  const auto place = [](const Entry& entry) { return std::pair(entry.key, entry.name); };
  const std::pair wanted(requirement.folded_place, requirement.folded_name);
  const auto found = std::ranges::lower_bound(device_.registry_, wanted, {}, place);
  if (found == device_.registry_.end() || place(*found) != wanted) return {};
  if (!found->text) return {kNoValue};
  return {kRead, *found->text};
}

}  // namespace yox::decision
