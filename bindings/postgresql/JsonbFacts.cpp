#include "bindings/postgresql/JsonbFacts.h"

#include <algorithm>
#include <utility>

#include "yox/base/String.h"
#include "yox/decision/FactsReading.h"
#include "yox/decision/KnownValues.h"

namespace yox::postgresql {
namespace {

using decision::Fact;
using decision::FactForm;
using decision::kFacts;
using decision::Knowledge;
using decision::PairView;
using decision::RegistryFact;
using decision::TextFact;

bool IsAmong(const decision::Pairs& pairs, WStringView name) {
  return std::ranges::any_of(pairs, [&](const auto& pair) { return pair.key() == name; });
}

// As JsonNode::IsRemark.
void CheckComment(const JsonbNode& value) {
  if (value.IsString()) return;
  value.ForEachElement([](const JsonbNode& line) { line.Require(line.IsString(), "a string"); });
}

bool EqualsFolded(WStringView text, WStringView folded) {
  return std::ranges::equal(text, folded, {}, String::FoldCase);
}

}  // namespace

DocumentKeys::DocumentKeys(const JsonbNode& document) {
  std::uint32_t place = 0;
  document.ForEachMember([&](std::string_view key, const JsonbNode&) {
    if (const auto fact = decision::FactOfKey(key)) {
      places[static_cast<std::size_t>(*fact)] = place;
      present |= std::uint32_t{1} << static_cast<unsigned>(*fact);
    } else if (key == "comment" || key == "$schema") {
      (key == "comment" ? comment : schema) = place;
    } else {
      throw BadJsonb();
    }
    ++place;
  });
}

const DocumentKeys& FactsMemory::KeysOf(const JsonbNode& document,
                                        const JsonbNode::Members& members) {
  const std::string_view lengths = members.KeyLengths();
  const std::string_view texts = members.KeyTexts();
  for (std::size_t i = 0; i < kMostKeys; ++i) {
    const std::size_t index = (last_keys_ + i) % kMostKeys;
    const KnownKeys& known = known_keys_[index];
    if (known.texts != texts || known.lengths != lengths) continue;
    last_keys_ = index;
    return known.keys;
  }
  KnownKeys read{std::string(lengths), std::string(texts), DocumentKeys(document)};
  known_keys_[next_keys_] = std::move(read);
  last_keys_ = std::exchange(next_keys_, (next_keys_ + 1) % kMostKeys);
  return known_keys_[last_keys_].keys;
}

WStringView FactsMemory::Keep(std::string_view utf8) {
  if (utf8.size() <= kBlock) {
    if (blocks_.empty() || used_ + utf8.size() > kBlock) {
      block_ = blocks_.empty() ? 0 : block_ + 1;
      if (block_ == blocks_.size()) blocks_.emplace_back(new WChar[kBlock]);
      used_ = 0;
    }
    WChar* const copy = blocks_[block_].get() + used_;
    unsigned bits = 0;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
      const auto byte = static_cast<unsigned char>(utf8[i]);
      bits |= byte;
      copy[i] = static_cast<WChar>(byte);
    }
    if (bits < 0x80) {  // ASCII, whose units are its bytes
      used_ += utf8.size();
      return {copy, utf8.size()};
    }
  }
  const WString wide = String::UTF8ToUTF16(utf8);
  WChar* const copy = large_.emplace_back(new WChar[wide.size() + 1]).get();
  std::ranges::copy(wide, copy);
  return {copy, wide.size()};
}

void FactsMemory::Clear() {
  block_ = 0;
  used_ = 0;
  large_.clear();
}

const TimeZone* FactsMemory::ZoneOf(std::string_view name) {
  auto found = zones_.find(std::string(name));
  if (found == zones_.end()) {
    if (zones_.size() == kMostZones) zones_.clear();
    found = zones_.emplace(name, TimeZone::Parse(name)).first;
  }
  return found->second ? &*found->second : nullptr;
}

// Receives the value of one fact, checked by FactsReading.
class JsonbFacts::Sink {
 public:
  explicit Sink(FactsMemory& memory) : memory_(memory) {}

  void Id(std::string_view) {}
  bool TimeZone(std::string_view name) { return (zone = memory_.ZoneOf(name)) != nullptr; }
  void Text(FilterField, std::string_view utf8) { text = utf8; }
  void NoFirmware() {}
  void HashedText(bool, std::optional<std::string_view> utf8) { hashed = utf8; }
  void Hash(bool, std::optional<std::string_view> digits) { hashed = digits; }
  void Bucket(bool, std::optional<int> number) { bucket = number; }
  void Begin(Fact, Knowledge list) { knowledge = list; }
  void Subscription(std::string_view utf8) { texts.push_back(String::UTF8ToUTF16(utf8)); }
  void HardwareId(std::string_view utf8) { texts.push_back(String::UTF8ToUTF16(utf8)); }
  void Tag(std::string_view name, std::string_view value) {
    pairs.push_back({memory_.Keep(name), memory_.Keep(value)});
  }
  void Item(std::string_view name, std::string_view version) { Tag(name, version); }
  void RegistryValue(std::string_view key, std::string_view name,
                     std::optional<std::string_view> value) {
    if (wanted == nullptr || registry.stage != RegistryFact::Stage::kUnknown) return;
    const WStringView place = String::Trimmed(memory_.Keep(key), "\\"_wv);
    if (!EqualsFolded(place, wanted->folded_place)) return;
    if (!EqualsFolded(memory_.Keep(name), wanted->folded_name)) return;
    registry.stage = value ? RegistryFact::Stage::kRead : RegistryFact::Stage::kNoValue;
    if (value) registry.text = memory_.Keep(*value);
  }

  // What was received.
  const yox::TimeZone* zone = nullptr;
  std::string_view text;
  std::optional<std::string_view> hashed;
  std::optional<int> bucket;
  Knowledge knowledge = Knowledge::kUnknown;
  std::vector<WString> texts;
  std::vector<PairView> pairs;
  RegistryFact registry;
  const decision::CompiledRegistryRequirement* wanted = nullptr;  // of the registry's values

 private:
  FactsMemory& memory_;
};

std::optional<PairView> JsonbFacts::PairViews::First(const decision::TextPattern& name,
                                                     const decision::Pairs& except) const {
  const auto found = std::ranges::find_if(pairs, [&](const PairView& pair) {
    return name.Matches(String::Trimmed(pair.key)) && !IsAmong(except, pair.key);
  });
  if (found == pairs.end()) return std::nullopt;
  return *found;
}

JsonbFacts::JsonbFacts(const JsonbNode& document, const decision::Question& question,
                       FactsMemory& memory)
    : DeviceFacts(question.extra_tags),
      question_(question),
      memory_(memory),
      members_(document),
      keys_(memory.KeysOf(document, members_)) {
  if (keys_.comment) CheckComment(members_.Value(*keys_.comment));
  if (keys_.schema) document.Require(members_.Value(*keys_.schema).IsString(), "a string");
}

bool JsonbFacts::Read(Fact fact, Sink& sink) const {
  if (!keys_.Has(fact)) return false;
  decision::FactsReading<JsonbNode, Sink> reading(sink);
  reading.NoteKeys(keys_.present);
  reading.ReadFact(fact, ValueOf(fact));
  return true;
}

bool JsonbFacts::HasNoFirmware() const {
  Sink sink(memory_);
  return Read(Fact::firmware, sink) && !ValueOf(Fact::firmware).Bool();
}

TextFact JsonbFacts::HashOf(bool of_organisation) const {
  Sink sink(memory_);
  if (Read(of_organisation ? Fact::realm : Fact::serial_number, sink)) {
    const WString hash = decision::SaltedHashOf(String::UTF8ToUTF16(sink.hashed.value_or("")));
    return TextFact::Of(memory_.Keep(String::UTF16ToUTF8(hash)),
                        sink.hashed ? Knowledge::kKnown : Knowledge::kMissing);
  }
  if (!Read(of_organisation ? Fact::org_hash : Fact::sn_hash, sink)) return {};
  if (sink.hashed) return TextFact::Of(memory_.Keep(*sink.hashed));
  return TextFact::Of(memory_.Keep(String::UTF16ToUTF8(decision::SaltedHashOf({}))),
                      Knowledge::kMissing);
}

TextFact JsonbFacts::FetchText(FilterField field) {
  if (field == FilterField::sn_hash || field == FilterField::org_hash) {
    return HashOf(field == FilterField::org_hash);
  }
  const auto fact =
      decision::FactOfKey(decision::kFilterFieldNames[static_cast<std::size_t>(field)]);
  if (!fact) return {};
  Sink sink(memory_);
  const bool is_given = Read(*fact, sink);
  if (FormOf(*fact) == FactForm::kFirmwareText && HasNoFirmware()) {
    return TextFact::Of(memory_.Keep(sink.text), Knowledge::kMissing);
  }
  if (is_given) return TextFact::Of(memory_.Keep(sink.text));
  if (field == FilterField::os) return TextFact::Of(decision::kOsText);
  return {};
}

decision::VersionFact JsonbFacts::FetchVersion(FilterField field) {
  if (field == FilterField::target_version) {
    if (!question_.target_version) return {Knowledge::kMissing};
    return {Knowledge::kKnown, decision::VersionText(*question_.target_version)};
  }
  const TextFact& text = Text(field);
  return {text.knowledge, decision::VersionText(text.given)};
}

decision::TextsFact JsonbFacts::FetchSubscriptions() {
  Sink sink(memory_);
  Read(Fact::device_subscription, sink);
  subscriptions_ = std::move(sink.texts);
  return {sink.knowledge, subscriptions_};
}

decision::PairsFact JsonbFacts::FetchTags() {
  Sink sink(memory_);
  if (!Read(Fact::tags, sink)) return {};
  tags_.pairs = std::move(sink.pairs);
  return {Knowledge::kKnown, &tags_};
}

decision::PairsFact JsonbFacts::FetchInstalledItems() {
  Sink sink(memory_);
  if (!Read(Fact::installed_items, sink)) return {};
  items_.pairs = std::move(sink.pairs);
  return {Knowledge::kKnown, &items_};
}

decision::HardwareIdsFact JsonbFacts::FetchHardwareIds() {
  Sink sink(memory_);
  if (!Read(Fact::hardware_ids, sink)) return {};
  hardware_ids_ = std::make_unique<decision::PreparedHardwareIds>(sink.texts);
  return {Knowledge::kKnown, hardware_ids_.get()};
}

decision::BucketFact JsonbFacts::FetchBucket(bool of_organisation) {
  const bool is_text = keys_.Has(of_organisation ? Fact::realm : Fact::serial_number);
  Sink sink(memory_);
  if (!is_text && Read(of_organisation ? Fact::organisation_bucket : Fact::rollout_bucket, sink)) {
    const int none = sink.bucket ? 0 : decision::RolloutBucket(decision::SaltedHashOf({}));
    return {Knowledge::kKnown, sink.bucket.value_or(none)};
  }
  const TextFact hash = HashOf(of_organisation);
  if (hash.knowledge == Knowledge::kUnknown) return {};
  return {Knowledge::kKnown, decision::RolloutBucket(hash.given)};
}

const TimeZone* JsonbFacts::Zone() const {
  Sink sink(memory_);
  Read(Fact::time_zone, sink);
  return sink.zone;
}

decision::LocalDays JsonbFacts::FetchToday() {
  const TimeZone* const zone = Zone();
  if (zone == nullptr) return decision::LocalDays::Anywhere(Now());
  return decision::LocalDays::Of(zone->ToLocalDate(Now()));
}

decision::DayStart JsonbFacts::StartOfDay(int year, int month, int day) {
  const TimeZone* const zone = Zone();
  if (zone == nullptr) return decision::DayStart::Anywhere(year, month, day);
  return decision::DayStart::Of(zone->StartOfLocalDay(year, month, day));
}

RegistryFact JsonbFacts::ReadRegistry(const decision::CompiledRegistryRequirement& requirement) {
  Sink sink(memory_);
  sink.wanted = &requirement;
  Read(Fact::registry, sink);
  return sink.registry;
}

}  // namespace yox::postgresql
