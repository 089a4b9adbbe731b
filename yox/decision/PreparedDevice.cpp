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

PreparedPairs::PreparedPairs(const Pairs& pairs, TextArena& arena) {
  std::vector<std::uint64_t> names;  // their fingerprints
  entries_.reserve(pairs.size());
  names.reserve(pairs.size());
  for (const auto& pair : pairs) {
    const WStringView key = arena.Keep(pair.key());
    entries_.push_back({{key, arena.Keep(pair.value())}});
    names.push_back(pair.key_fingerprint());
  }
  if (pairs.size() <= kMostScanned) ScanTags(names, pairs);
  if (tags_.empty()) HashNames(names);
}

void PreparedPairs::ScanTags(const std::vector<std::uint64_t>& names, const Pairs& pairs) {
  std::vector<std::uint16_t> sorted(names.size());
  std::ranges::transform(names, sorted.begin(), TagOf);
  std::ranges::sort(sorted);
  if (std::ranges::adjacent_find(sorted) != sorted.end()) return;
  while (std::ranges::binary_search(sorted, no_tag_)) ++no_tag_;
  tags_.resize((names.size() + kAtOnce - 1) / kAtOnce * kAtOnce, no_tag_);
  std::ranges::transform(names, tags_.begin(), TagOf);
  values_.reserve(pairs.size() + 1);
  values_.push_back(0);
  for (const auto& pair : pairs) values_.push_back(pair.value_fingerprint());
}

void PreparedPairs::HashNames(const std::vector<std::uint64_t>& names) {
  slots_.resize(std::bit_ceil(2 * names.size() + 1));
  std::vector<std::uint32_t> last(slots_.size());  // by slot: the last entry of its name
  for (std::uint32_t i = 0; i < names.size(); ++i) {
    const WStringView name = String::Trimmed(entries_[i].pair.key);
    for (std::uint64_t place = names[i];; ++place) {
      const std::size_t at = place & (slots_.size() - 1);
      Slot& slot = slots_[at];
      if (slot.first == kNone) {
        slot = {names[i], i};
        last[at] = i;
        break;
      }
      if (slot.fingerprint == names[i] &&
          String::CaseInsesitiveEqual(String::Trimmed(entries_[slot.first].pair.key), name)) {
        last[at] = entries_[last[at]].next = i;
        break;
      }
    }
  }
}

std::uint32_t PreparedPairs::Find(const TextPattern& name) const {
  if (!tags_.empty()) {
    const std::size_t found = Scan(name.fingerprint);
    const bool is_it = found != 0 && Equals(entries_[found - 1].pair.key, name.text);
    return is_it ? static_cast<std::uint32_t>(found - 1) : kNone;
  }
  for (std::uint64_t i = name.fingerprint;; ++i) {
    const Slot& slot = slots_[i & (slots_.size() - 1)];
    if (slot.first == kNone) return kNone;
    if (slot.fingerprint == name.fingerprint && Equals(entries_[slot.first].pair.key, name.text)) {
      return slot.first;
    }
  }
}

std::optional<PairView> PreparedPairs::First(const TextPattern& name, const Pairs& except) const {
  if (name.IsText()) {
    for (std::uint32_t i = Find(name); i != kNone; i = entries_[i].next) {
      if (!IsAmong(except, entries_[i].pair.key)) return entries_[i].pair;
    }
    return std::nullopt;
  }
  for (const Entry& entry : entries_) {
    if (name.MatchesUnfolded(String::Trimmed(entry.pair.key)) && !IsAmong(except, entry.pair.key)) {
      return entry.pair;
    }
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
  for (const Given<WString>& given : record.texts) texts_.push_back(Fold(given));
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
