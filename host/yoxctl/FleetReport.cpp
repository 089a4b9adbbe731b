#include "host/yoxctl/FleetReport.h"

#include <algorithm>
#include <utility>

#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/decision/ListWords.h"

namespace yoxctl {
namespace {

using namespace yox::decision;
using YOX::String;

// report/page.html, in which kDataMark stands for the data.
constexpr std::string_view kPage =
#include "FleetPage.inc"
    ;
constexpr std::string_view kDataMark = "@DATA@";

// The text facts that a table can show, and those that it shows of every fleet.
constexpr FilterField kTextFields[] = {
    FilterField::country,    FilterField::language,      FilterField::mfr,
    FilterField::family,     FilterField::model,         FilterField::sku,
    FilterField::enclosure,  FilterField::os_version,    FilterField::version,
    FilterField::os_bitness, FilterField::os_description};
constexpr FilterField kAlways[] = {FilterField::country, FilterField::mfr, FilterField::model,
                                   FilterField::os_version};
constexpr std::size_t kMostTags = 4;

constexpr const char* kUnknownText = "(unknown)";

bool Asks(const CompiledList& list, FilterField field) {
  return std::ranges::any_of(list.filters(),
                             [&](const Filter& filter) { return filter.IsSet(field); });
}

std::string NameOfTerm(yox::WStringView piece) {
  return String::UTF16ToUTF8(String::Trimmed(piece.substr(0, piece.find(yox::WChar{'|'}))));
}

std::string TextOf(DeviceFacts& facts, FilterField field) {
  const auto shown = [](Knowledge knowledge, yox::WStringView text) {
    return knowledge == Knowledge::kUnknown ? kUnknownText : String::UTF16ToUTF8(text);
  };
  if (field == FilterField::os_version || field == FilterField::version) {
    const VersionFact& fact = facts.Version(field);
    return shown(fact.knowledge, fact.text.text());
  }
  const TextFact& fact = facts.Text(field);
  return shown(fact.knowledge, fact.given);
}

std::string TagOf(DeviceFacts& facts, const TextPattern& name) {
  if (facts.Tags().knowledge == Knowledge::kUnknown) return kUnknownText;
  const std::optional<PairView> tag = facts.FindTag(name);
  return tag ? String::UTF16ToUTF8(tag->value) : "";
}

std::string WhyOf(const Verdict& verdict) {
  if (verdict.decided_by) return "filter " + std::to_string(*verdict.decided_by);
  if (verdict.applies != Truth::kUnknown) return "whatever is unknown";
  std::string text;
  for (const std::string& fact : verdict.needs) text += (text.empty() ? "needs " : ", ") + fact;
  return text;
}

char ChangeOf(Truth before, Truth now) {
  if (before == now) return '0';
  if (before == Truth::kFalse && now == Truth::kTrue) return '1';
  return before == Truth::kTrue && now == Truth::kFalse ? '2' : '3';
}

std::string Quoted(const std::string& text) {
  std::string quoted = yox::JsonText(Json::Value(text), yox::JsonStyle::kReadableLine);
  if (quoted.ends_with('\n')) quoted.pop_back();
  return quoted;
}

template <class Values, class Text>
std::string ArrayText(const Values& values, Text text) {
  std::string array = "[";
  for (const auto& value : values) {
    if (array.size() > 1) array += ',';
    array += text(value);
  }
  return array + "]";
}

std::size_t BytesOf(const std::vector<std::string>& texts) {
  std::size_t bytes = texts.capacity() * sizeof(std::string);
  for (const std::string& text : texts) {
    if (text.capacity() > 15) bytes += text.capacity() + 1;
  }
  return bytes;
}

Json::Value ListJson(const CompiledList& list) {
  Json::Value json(Json::arrayValue);
  for (const FilterWords& words : WordsOf(list)) {
    Json::Value& filter = json.append(Json::objectValue);
    filter["applies"] = words.applies;
    Json::Value& conditions = filter["conditions"] = Json::Value(Json::arrayValue);
    for (const std::string& condition : words.conditions) conditions.append(condition);
  }
  return json;
}

}  // namespace

void ReportTable::Column::Add(const std::string& text) {
  const auto [entry, is_new] = known_.try_emplace(text, static_cast<std::uint32_t>(texts.size()));
  if (is_new) texts.push_back(text);
  index.push_back(entry->second);
}

void ReportTable::Column::Append(const Column& later) {
  std::vector<std::uint32_t> here;
  for (const std::string& text : later.texts) {
    Add(text);
    here.push_back(index.back());
    index.pop_back();
  }
  for (const std::uint32_t text : later.index) index.push_back(here[text]);
}

std::size_t ReportTable::Column::bytes() const {
  return 2 * BytesOf(texts) + index.capacity() * sizeof(index[0]);
}

ReportTable::ReportTable(const CompiledList& list, bool has_changes) : has_changes_(has_changes) {
  columns_.emplace_back("why");
  for (const FilterField field : kTextFields) {
    if (!Asks(list, field) && std::ranges::find(kAlways, field) == std::end(kAlways)) continue;
    sources_.push_back({field, {}});
    columns_.emplace_back(std::string(kFilterFieldNames[static_cast<std::size_t>(field)]));
  }
  std::size_t tags = 0;
  for (const CompiledList::Program& program : list.programs()) {
    for (const CompiledList::Step& step : list.Steps(program)) {
      if (step.field != FilterField::tag) continue;
      auto rest = Pieces(step.required);
      for (const KeyValueTerm& term : list.Terms(step)) {
        const std::string name = "tag " + NameOfTerm(NextPiece(rest, ','));
        const bool names_one = term.key.form == TextPattern::Form::kEqual && !term.key.negated;
        const auto has_name = [&](const Column& column) { return column.name == name; };
        if (!names_one || std::ranges::any_of(columns_, has_name)) continue;
        if (tags++ == kMostTags) return;
        sources_.push_back({FilterField::tag, term.key});
        columns_.emplace_back(name);
      }
    }
  }
}

void ReportTable::Add(std::string_view id, const Verdicts& verdicts, DeviceFacts& facts) {
  ids_.emplace_back(id);
  const Truth now = verdicts.now.applies;
  verdicts_ += static_cast<char>('0' + static_cast<int>(now));
  if (has_changes_) changes_ += ChangeOf(verdicts.before.value_or(now), now);
  columns_[0].Add(WhyOf(verdicts.now));
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    const Source& source = sources_[i];
    columns_[i + 1].Add(source.tag ? TagOf(facts, *source.tag) : TextOf(facts, source.field));
  }
}

void ReportTable::Append(const ReportTable& later) {
  ids_.insert(ids_.end(), later.ids_.begin(), later.ids_.end());
  verdicts_ += later.verdicts_;
  changes_ += later.changes_;
  for (std::size_t i = 0; i < columns_.size(); ++i) columns_[i].Append(later.columns_[i]);
}

std::size_t ReportTable::bytes() const {
  std::size_t bytes = BytesOf(ids_) + verdicts_.capacity() + changes_.capacity();
  for (const Column& column : columns_) bytes += column.bytes();
  return bytes;
}

std::string ReportTable::ToJsonText() const {
  const auto number = [](std::uint32_t value) { return std::to_string(value); };
  std::string text = "{\"ids\":" + ArrayText(ids_, Quoted) + ",\"verdicts\":\"" + verdicts_ + "\"";
  if (has_changes_) text += ",\"changes\":\"" + changes_ + "\"";
  text += ",\"columns\":" + ArrayText(columns_, [&](const Column& column) {
            return "{\"name\":" + Quoted(column.name) +
                   ",\"texts\":" + ArrayText(column.texts, Quoted) +
                   ",\"index\":" + ArrayText(column.index, number) + "}";
          });
  return text + "}";
}

Json::Value RolloutJson(const RolloutCounts& counts) {
  Json::Value json;
  json["devices"] = Json::UInt64{counts.devices()};
  Json::Value& days = json["days"] = Json::Value(Json::arrayValue);
  for (std::int64_t day = counts.span().first; day <= counts.span().last; ++day) {
    const RolloutCounts::Count& count = counts.On(day);
    Json::Value& row = days.append(Json::objectValue);
    row["date"] = DayText(day);
    row["in"] = Json::UInt64{count.in};
    row["at_most"] = Json::UInt64{count.in + count.undetermined};
  }
  return json;
}

std::string ToHtml(const FleetReport& report) {
  using yox::JsonStyle;
  Json::Value head;
  head["title"] = report.title;
  head["at"] = report.at;
  if (report.against) head["against"] = *report.against;
  if (report.target_version) head["target_version"] = *report.target_version;
  for (const std::string& source : report.sources) head["sources"].append(source);
  head["list"] = ListJson(report.list);
  head["rollout"] = RolloutJson(report.rollout);
  std::string data = yox::JsonText(head, JsonStyle::kReadableLine);
  data.erase(data.find_last_of('}'));
  data += ",\"funnel\":" + report.funnel.ToJsonText(JsonStyle::kReadableLine);
  if (report.difference != nullptr) {
    data += ",\"difference\":" + report.difference->ToJsonText(JsonStyle::kReadableLine);
  }
  data += ",\"table\":" + report.table.ToJsonText() + "}";

  // Within a script element "<" can end it or begin a comment. In JSON it is in strings only.
  const std::size_t mark = kPage.find(kDataMark);
  std::string page(kPage.substr(0, mark));
  page.reserve(kPage.size() + data.size() + data.size() / 64);
  for (const char byte : data) {
    if (byte == '<') {
      page += "\\u003c";
    } else {
      page += byte;
    }
  }
  return page.append(kPage.substr(mark + kDataMark.size()));
}

}  // namespace yoxctl
