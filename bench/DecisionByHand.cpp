#include "bench/DecisionByHand.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <ctime>
#include <map>
#include <string>
#include <utility>

#include "yox/base/SaltedHash.h"
#include "yox/base/String.h"
#include "yox/clientbase/EpUrlProvider.h"

using yox::decision::FilterField;

using YOX::String;
using yox::WChar;
using namespace yox::literals;

namespace by_hand {
namespace {

constexpr std::pair<FilterField, MachineInformation::Text> kTexts[] = {
    {FilterField::country, MachineInformation::Text::os_region},
    {FilterField::enclosure, MachineInformation::Text::device_enclosuretype},
    {FilterField::family, MachineInformation::Text::device_family},
    {FilterField::language, MachineInformation::Text::os_language},
    {FilterField::mfr, MachineInformation::Text::device_manufacturer},
    {FilterField::model, MachineInformation::Text::device_model},
};

// Parsing, which is not measured.

WString Folded(WString text) {
  for (WChar& unit : text) unit = String::FoldCase(unit);
  return text;
}

// Each piece is trimmed and folded.
std::vector<WString> Pieces(const WString& text, char separator) {
  std::vector<WString> pieces = String::Split(Folded(text), static_cast<WChar>(separator));
  for (WString& piece : pieces) String::trim(piece, String::kWhiteSpace);
  return pieces;
}

int KeyNumber(const WString& key) {
  static std::map<WString, int> numbers;
  return numbers.emplace(key, static_cast<int>(numbers.size())).first->second;
}

Pattern ParsePattern(WString text) {
  if (text.empty()) return {};
  const bool negated = text.front() == '!';
  if (negated) text.erase(0, 1);
  const bool opens = text.starts_with('*');
  const bool closes = text.ends_with('*');
  if (!opens && !closes && text.find('*') != WString::npos) return {};
  if (opens) String::trimStart(text, "*"_wv);
  if (closes) String::trimEnd(text, "*"_wv);
  return {opens    ? closes ? Pattern::kInfix : Pattern::kSuffix
          : closes ? Pattern::kPrefix
                   : Pattern::kEqual,
          negated, text};
}

std::pair<Operator, WString> ParseOperator(const WString& text) {
  constexpr std::pair<yox::WStringView, Operator> kOperators[] = {
      {"!"_wv, {true, false, true}},  {">="_wv, {false, true, true}},
      {">"_wv, {false, false, true}}, {"<="_wv, {true, true, false}},
      {"<"_wv, {true, false, false}}, {""_wv, {false, true, false}},
  };
  const auto& [sign, op] =
      *std::ranges::find_if(kOperators, [&](auto& row) { return text.starts_with(row.first); });
  return {op, text.substr(sign.size())};
}

VersionRule ParseVersionRule(const WString& text) {
  const auto [op, operand] = ParseOperator(text);
  return {op, operand.size() == text.size(), Version::Parse(operand), text};
}

Term ParseTerm(const WString& text) {
  const std::vector<WString> halves = Pieces(text, '|');
  const bool negated = halves[0].starts_with('!');
  const bool alone = halves.size() == 1;
  Term term{KeyNumber(halves[0].substr(negated ? 1 : 0)), negated && alone, negated && !alone, {}};
  if (alone) return term;
  if (halves[1][0] != '<' && halves[1][0] != '>') {
    term.value = ParsePattern(halves[1]);
  } else if (halves[1].find('.') != WString::npos) {
    term.value = ParseVersionRule(halves[1]);
  } else {
    const auto [op, operand] = ParseOperator(halves[1]);
    term.value = NumberRule{op, String::ToInteger(operand)};
  }
  return term;
}

std::array<int, 3> ParseDay(const WString& text) {
  const std::vector<WString> fields = Pieces(text, '-');
  return {String::ToInteger(fields[0]), String::ToInteger(fields[1]), String::ToInteger(fields[2])};
}

Range ParseRange(const WString& text) {
  const std::vector<WString> ends = Pieces(text, '|');
  const auto day_number = [](const WString& end, int open) {
    if (end == "*"_wv) return open;
    const auto [year, month, day] = ParseDay(end);
    return (year * 100 + month) * 100 + day;
  };
  return {day_number(ends[0], INT_MIN), day_number(ends[1], INT_MAX)};
}

Rollout ParseRollout(const WString& text) {
  const std::vector<WString> pieces = Pieces(text, '|');
  const auto [year, month, day] = ParseDay(pieces[0]);
  std::tm midnight{};
  midnight.tm_year = year - 1900;
  midnight.tm_mon = month - 1;
  midnight.tm_mday = day;
  midnight.tm_isdst = -1;
  return {std::mktime(&midnight), String::ToInteger(pieces[1]),
          pieces[2] == "linear"_wv              ? 0.0
          : pieces[2] == "exponentialnormal"_wv ? 1.2
                                                : 1.8,
          pieces.size() > 3 && pieces[3] == "tenant"_wv};
}

template <class Parse>
auto ParseEach(const WString& text, Parse parse) {
  std::vector<decltype(parse(text))> parsed;
  for (const WString& piece : Pieces(text, ',')) parsed.push_back(parse(piece));
  return parsed;
}

int Bucket(const WString& seed) {
  return std::stoi(YOX::utility::SHA256WithSalt(String::UTF16ToUTF8(seed)).substr(0, 3), nullptr,
                   16);
}

Value ParseValue(const WString& text) {
  Value value{Folded(text), {}, {}};
  if (Version version; Version::TryParse(text, version)) value.version = version;
  int number = 0;
  if (String::TryToInteger(text, number) == String::IntegerStatus::kOk) value.number = number;
  return value;
}

// Deciding.

bool Holds(const Pattern& pattern, const WString& actual) {
  switch (pattern.form) {
    case Pattern::kAny:
      return true;
    case Pattern::kEqual:
      return (actual == pattern.text) != pattern.negated;
    case Pattern::kInfix:
      return (actual.find(pattern.text) != WString::npos) != pattern.negated;
    case Pattern::kPrefix:
      return actual.starts_with(pattern.text) != pattern.negated;
    case Pattern::kSuffix:
      return actual.ends_with(pattern.text) != pattern.negated;
  }
  return false;
}

template <class T>
bool Holds(Operator op, const T& actual, const T& required) {
  const auto order = actual <=> required;
  return order < 0 ? op.less : order > 0 ? op.greater : op.equal;
}

bool Holds(const Pattern& pattern, const Value& actual) { return Holds(pattern, actual.text); }

bool Holds(const VersionRule& rule, const Value& actual) {
  if (rule.as_text) return actual.text == rule.text;
  return actual.version && Holds(rule.op, *actual.version, rule.version);
}

bool Holds(const NumberRule& rule, const Value& actual) {
  return actual.number && Holds(rule.op, *actual.number, rule.number);
}

bool Holds(const Texts& texts, const ParsedDevice& device) {
  for (const Pattern& pattern : texts.any) {
    if (Holds(pattern, device.texts[texts.which])) return true;
  }
  return false;
}

bool Holds(const Versions& versions, const ParsedDevice& device) {
  for (const VersionRule& rule : versions.any) {
    if (Holds(rule, device.versions[versions.which])) return true;
  }
  return false;
}

// The first tag whose key is meant counts.
bool Holds(const Term& term, const std::vector<Tag>& tags) {
  for (const Tag& tag : tags) {
    if ((tag.key == term.key) == term.others) continue;
    return !term.absent && std::visit([&](auto& rule) { return Holds(rule, tag); }, term.value);
  }
  return term.absent;
}

bool Holds(const Terms& terms, const ParsedDevice& device) {
  for (const Term& term : terms) {
    if (!Holds(term, device.tags)) return false;
  }
  return true;
}

bool Holds(const Range& range, const ParsedDevice& /*device*/) {
  thread_local std::time_t minute = -1;
  thread_local int today = 0;
  const std::time_t now = std::time(nullptr);
  if (now / 60 != minute) {
    std::tm fields{};
    localtime_r(&now, &fields);
    today = (fields.tm_year + 1900) * 10000 + (fields.tm_mon + 1) * 100 + fields.tm_mday;
    minute = now / 60;
  }
  return today >= range.first && today <= range.last;
}

bool Holds(const Rollout& rollout, const ParsedDevice& device) {
  const std::int64_t now = std::time(nullptr);
  if (now < rollout.start) return false;
  const std::int64_t elapsed = (now - rollout.start) / 86400 + 1;
  if (elapsed >= rollout.days) return true;
  const double share = rollout.base == 0.0
                           ? static_cast<double>(elapsed) / rollout.days
                           : std::pow(rollout.base, static_cast<double>(elapsed - rollout.days) /
                                                        (rollout.days / 20.0));
  return (rollout.by_tenant ? device.tenant_bucket : device.bucket) <= share * 4095.0;
}

}  // namespace

ParsedFilter ParseFilter(const Filter& filter) {
  ParsedFilter parsed{{}, Folded(filter.value()) != "false"_wv, {}};
  if (filter.IsSet(FilterField::default_)) parsed.decides = Folded(filter.default_()) == "true"_wv;
  const auto add = [&](FilterField field, auto parse) {
    if (filter.IsSet(field)) parsed.criteria.emplace_back(parse(filter.View(field)));
  };
  const auto add_text = [&](std::size_t i) {
    add(kTexts[i].first, [i](auto& text) { return Texts{i, ParseEach(text, ParsePattern)}; });
  };
  const auto add_version = [&](FilterField field, std::size_t i) {
    add(field, [i](auto& text) { return Versions{i, ParseEach(text, ParseVersionRule)}; });
  };
  add_text(0);  // in the order in which the library looks at them
  add(FilterField::date_range, ParseRange);
  add(FilterField::date_function, ParseRollout);
  for (std::size_t i = 1; i < std::size(kTexts); ++i) add_text(i);
  add_version(FilterField::os_version, 0);
  add_version(FilterField::version, 1);
  add(FilterField::tag, [](auto& text) { return ParseEach(text, ParseTerm); });
  return parsed;
}

ParsedDevice ParseDevice(const MachineInformation& record, const WString& client_version,
                         const ApplicabilityEvaluator::Pairs& tags) {
  WString realm;
  if (const auto* provider = YOX::EpUrlProvider::GetInstance()) provider->GetRealm(realm);
  ParsedDevice parsed{{},
                      {ParseValue(record.os_version()), ParseValue(client_version)},
                      {},
                      Bucket(record.serial_number()),
                      Bucket(realm)};
  for (std::size_t i = 0; i < parsed.texts.size(); ++i) {
    parsed.texts[i] = Folded(record.View(kTexts[i].second));
  }
  for (const auto& pair : tags) {
    parsed.tags.push_back({ParseValue(pair.value()), KeyNumber(Folded(pair.key()))});
  }
  return parsed;
}

bool Decide(const std::vector<ParsedFilter>& list, const ParsedDevice& device) {
  const auto holds = [&](auto& criterion) {
    return std::visit([&](auto& rule) { return Holds(rule, device); }, criterion);
  };
  for (const ParsedFilter& filter : list) {
    if (filter.decides) return *filter.decides;
    if (std::ranges::all_of(filter.criteria, holds)) return filter.value;
  }
  return list.empty();
}

}  // namespace by_hand
