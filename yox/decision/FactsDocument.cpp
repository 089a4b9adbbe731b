#include "yox/decision/FactsDocument.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/decision/Dates.h"
#include "yox/decision/FactsReading.h"
#include "yox/decision/StrictNode.h"

namespace yox::decision {
namespace {

WString Wide(std::string_view utf8) { return String::UTF8ToUTF16(utf8); }

class RecordSink {
 public:
  explicit RecordSink(FactsRecord& record) : record_(record) {}

  void Id(std::string_view id) { record_.id = id; }
  bool TimeZone(std::string_view name) { return record_.SetTimeZone(name); }
  void Text(FilterField field, std::string_view text) {
    record_.text(field) = Given<WString>::Known(Wide(text));
  }
  void NoFirmware() {
    for (const FactRow& row : kFacts) {
      if (row.form != FactForm::kFirmwareText) continue;
      record_.text(FieldOf(static_cast<Fact>(&row - kFacts.data()))).knowledge =
          Knowledge::kMissing;
    }
  }
  void HashedText(bool is_realm, std::optional<std::string_view> text) {
    const auto given = text ? Given<WString>::Known(Wide(*text)) : Given<WString>::Missing();
    is_realm ? record_.SetRealm(given) : record_.SetSerialNumber(given);
  }
  void Hash(bool is_realm, std::optional<std::string_view> digits) {
    Given<WString>& hash = record_.text(is_realm ? FilterField::org_hash : FilterField::sn_hash);
    hash = digits ? Given<WString>::Known(Wide(*digits))
                  : Given<WString>{Knowledge::kMissing, SaltedHashOf({})};
    Given<int>& bucket = BucketOf(is_realm);
    if (bucket.knowledge != Knowledge::kKnown)
      bucket = Given<int>::Known(RolloutBucket(hash.value));
  }
  void Bucket(bool is_realm, std::optional<int> bucket) {
    BucketOf(is_realm) = Given<int>::Known(bucket ? *bucket : RolloutBucket(SaltedHashOf({})));
  }
  void Begin(Fact fact, Knowledge knowledge) {
    if (fact == Fact::device_subscription) record_.device_subscriptions.knowledge = knowledge;
    if (fact == Fact::tags) record_.tags.emplace();
    if (fact == Fact::installed_items) record_.installed_items.emplace();
    if (fact == Fact::hardware_ids) record_.hardware_ids.emplace();
  }
  void Subscription(std::string_view text) {
    record_.device_subscriptions.value.push_back(Wide(text));
  }
  void Tag(std::string_view name, std::string_view value) {
    record_.tags->emplace_back(Wide(name), Wide(value));
  }
  void Item(std::string_view name, std::string_view version) {
    record_.installed_items->emplace_back(Wide(name), Wide(version));
  }
  void HardwareId(std::string_view id) { record_.hardware_ids->push_back(Wide(id)); }
  void RegistryValue(std::string_view key, std::string_view name,
                     std::optional<std::string_view> text) {
    auto& value = record_.registry.emplace_back(
        FactsRecord::RegistryValue{Wide(key), Wide(name), std::nullopt});
    if (text) value.text = Wide(*text);
  }

 private:
  Given<int>& BucketOf(bool is_realm) {
    return is_realm ? record_.organisation_bucket : record_.rollout_bucket;
  }

  FactsRecord& record_;
};

std::string Quoted(std::string_view utf8) {
  std::string text =
      JsonText(Json::Value(utf8.data(), utf8.data() + utf8.size()), JsonStyle::kReadableLine);
  while (text.ends_with('\n')) text.pop_back();
  return text;
}

std::string Quoted(WStringView text) { return Quoted(String::UTF16ToUTF8(text)); }

// A list in brackets of either kind.
class Brackets {
 public:
  explicit Brackets(std::string_view pair) : text_(1, pair[0]), end_(pair[1]) {}

  void Add(std::string_view member) {
    if (text_.size() > 1) text_ += ',';
    text_ += member;
  }
  void Add(std::string_view key, std::string_view value) {
    Add(key);
    text_ += ':';
    text_ += value;
  }
  std::string Done() && { return std::move(text_ += end_); }

 private:
  std::string text_;
  char end_;
};

template <class Texts>
std::string ArrayOf(const Texts& texts) {
  Brackets array("[]");
  for (const WString& text : texts) array.Add(Quoted(text));
  return std::move(array).Done();
}

// Of tags of exactly one name a decision sees the first.
std::string TagsJson(const Pairs& tags) {
  Brackets object("{}");
  for (auto tag = tags.begin(); tag != tags.end(); ++tag) {
    const auto is_same = [&](const auto& other) { return other.key() == tag->key(); };
    if (std::any_of(tags.begin(), tag, is_same)) continue;
    object.Add(Quoted(tag->key()), Quoted(tag->value()));
  }
  return std::move(object).Done();
}

std::string ItemsJson(const Pairs& items) {
  Brackets array("[]");
  for (const auto& item : items) array.Add(ArrayOf(std::vector{item.key(), item.value()}));
  return std::move(array).Done();
}

// Values of one key are written together, at the place of the first.
std::string RegistryJson(const std::vector<FactsRecord::RegistryValue>& values) {
  Brackets keys("{}");
  for (auto first = values.begin(); first != values.end(); ++first) {
    const auto is_of_key = [&](const auto& value) { return value.key == first->key; };
    if (std::any_of(values.begin(), first, is_of_key)) continue;
    Brackets object("{}");
    for (auto value = first; value != values.end(); ++value) {
      const auto is_same = [&](const auto& other) {
        return is_of_key(other) && other.name == value->name;
      };
      if (!is_of_key(*value) || std::any_of(first, value, is_same)) continue;
      object.Add(Quoted(value->name), value->text ? Quoted(*value->text) : "null");
    }
    keys.Add(Quoted(first->key), std::move(object).Done());
  }
  return std::move(keys).Done();
}

// std::nullopt for what is unknown.
std::optional<std::string> HashedJson(const FactsRecord& record, Fact fact, Anonymity anonymity) {
  const bool is_realm = fact >= Fact::realm;
  const Given<WString>& text = is_realm ? record.realm : record.serial_number;
  const bool is_named = anonymity == Anonymity::kNamed && text.knowledge != Knowledge::kUnknown;
  const auto given = [](const Given<WString>& value) -> std::optional<std::string> {
    if (value.knowledge == Knowledge::kUnknown) return std::nullopt;
    return value.knowledge == Knowledge::kMissing ? "null" : Quoted(value.value);
  };
  if (FormOf(fact) == FactForm::kHashedText) return is_named ? given(text) : std::nullopt;
  if (is_named) return std::nullopt;
  if (FormOf(fact) == FactForm::kHash) return given(record.text(FieldOf(fact)));
  const Given<int>& bucket = is_realm ? record.organisation_bucket : record.rollout_bucket;
  if (bucket.knowledge == Knowledge::kUnknown) return std::nullopt;
  return std::to_string(bucket.value);
}

std::optional<std::string> FactJson(const FactsRecord& record, Fact fact, Anonymity anonymity) {
  switch (FormOf(fact)) {
    case FactForm::kId:
      if (record.id.empty()) return std::nullopt;
      return Quoted(record.id);
    case FactForm::kTimeZone:
      if (!record.time_zone || record.time_zone_name.empty()) return std::nullopt;
      return Quoted(record.time_zone_name);
    case FactForm::kFirmware:
      if (record.text(FilterField::sku).knowledge != Knowledge::kMissing) return std::nullopt;
      return "false";
    case FactForm::kText:
    case FactForm::kFirmwareText: {
      const Given<WString>& text = record.text(FieldOf(fact));
      if (text.knowledge == Knowledge::kUnknown) return std::nullopt;
      return text.value.empty() ? "null" : Quoted(text.value);
    }
    case FactForm::kHashedText:
    case FactForm::kHash:
    case FactForm::kBucket:
      return HashedJson(record, fact, anonymity);
    case FactForm::kTexts:
      if (record.device_subscriptions.knowledge == Knowledge::kUnknown) return std::nullopt;
      if (record.device_subscriptions.knowledge == Knowledge::kMissing) return "null";
      return ArrayOf(record.device_subscriptions.value);
    case FactForm::kTags:
      if (!record.tags) return std::nullopt;
      return TagsJson(*record.tags);
    case FactForm::kItems:
      if (!record.installed_items) return std::nullopt;
      return ItemsJson(*record.installed_items);
    case FactForm::kIds:
      if (!record.hardware_ids) return std::nullopt;
      return ArrayOf(*record.hardware_ids);
    case FactForm::kRegistry:
      if (record.registry.empty()) return std::nullopt;
      return RegistryJson(record.registry);
    case FactForm::kOfTheQuestion:
      break;
  }
  return std::nullopt;
}

}  // namespace

FactsRecord ReadFacts(std::string_view utf8, std::size_t first_line) {
  const Json::Value document = ParseDocument(utf8, first_line);
  FactsRecord record;
  RecordSink sink(record);
  const JsonNode root(document, utf8, first_line);
  FactsReading<StrictNode, RecordSink>(sink).Read(StrictNode(root));
  return record;
}

std::string FactsJson(const FactsRecord& record, Anonymity anonymity) {
  Brackets object("{}");
  for (std::size_t i = 0; i < kFacts.size(); ++i) {
    const auto fact = static_cast<Fact>(i);
    if (const auto json = FactJson(record, fact, anonymity))
      object.Add(Quoted(NameOf(fact)), *json);
  }
  return std::move(object).Done();
}

}  // namespace yox::decision
