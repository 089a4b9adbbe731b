#include "yox/decision/ListWords.h"

#include <utility>
#include <variant>

#include "yox/base/String.h"
#include "yox/decision/Criteria.h"

namespace yox::decision {
namespace {

// How the words of a criterion begin, by its field.
struct Subject {
  FilterField field;
  const char* words;
};

constexpr Subject kSubjects[] = {
    {FilterField::country, "the country"},
    {FilterField::device_subscription, "a device subscription"},
    {FilterField::enclosure, "the enclosure"},
    {FilterField::family, "the family"},
    {FilterField::language, "the language"},
    {FilterField::mfr, "the manufacturer"},
    {FilterField::model, "the model"},
    {FilterField::org_hash, "the hash of the organisation"},
    {FilterField::os, "the operating system"},
    {FilterField::os_bitness, "the operating system's bitness"},
    {FilterField::os_description, "the operating system's description"},
    {FilterField::os_version, "the operating system's version"},
    {FilterField::sku, "the SKU"},
    {FilterField::sn_hash, "the hash of the serial number"},
    {FilterField::target_version, "the target version"},
    {FilterField::version, "the client's version"},
};

constexpr const char* kComparisons[] = {"is",       "is not",     "is at least",
                                        "is above", "is at most", "is below"};

std::string Utf8(WStringView text) { return String::UTF16ToUTF8(text); }

const char* SubjectOf(FilterField field) {
  for (const Subject& subject : kSubjects) {
    if (subject.field == field) return subject.words;
  }
  return "";
}

// A verb and its object: "begins with", "F".
struct Phrase {
  std::string verb;
  std::string object;
  bool negated = false;

  std::string Text() const { return object.empty() ? verb : verb + " " + object; }
};

Phrase PhraseOf(const TextPattern& pattern) {
  const bool no = pattern.negated;
  if (pattern.text.empty() && pattern.form != TextPattern::Form::kEqual) {
    return {
        no && pattern.form != TextPattern::Form::kEverything ? "is not anything" : "is anything",
        {},
        true};
  }
  const std::string text = pattern.text.empty() ? "empty" : Utf8(pattern.text);
  switch (pattern.form) {
    case TextPattern::Form::kEverything:
      return {"is anything", {}, true};  // with a text: "*" in its inside only
    case TextPattern::Form::kEqual:
      return {no ? "is not" : "is", text, no};
    case TextPattern::Form::kContains:
      return {no ? "does not contain" : "contains", text, no};
    case TextPattern::Form::kStartsWith:
      return {no ? "does not begin with" : "begins with", text, no};
    case TextPattern::Form::kEndsWith:
      return {no ? "does not end with" : "ends with", text, no};
  }
  return {};
}

Phrase PhraseOf(Comparison comparison, WStringView operand) {
  return {kComparisons[static_cast<std::size_t>(comparison)], Utf8(operand),
          comparison != Comparison::kNone};
}

Phrase PhraseOf(const VersionRequirement& requirement) {
  return PhraseOf(requirement.comparison, String::Trimmed(requirement.text, "<>=! \t"_wv));
}

Phrase PhraseOf(const IntegerRequirement& requirement) {
  return PhraseOf(requirement.comparison, requirement.operand);
}

// "is US or CA": a verb that is not negated is said once.
std::string Alternatives(const std::vector<Phrase>& phrases) {
  std::string text;
  for (std::size_t i = 0; i < phrases.size(); ++i) {
    if (i == 0) {
      text = phrases[i].Text();
    } else if (!phrases[i].negated && phrases[i].verb == phrases[i - 1].verb) {
      text += " or " + phrases[i].object;
    } else {
      text += " or " + phrases[i].Text();
    }
  }
  return text;
}

template <class Parse>
std::string AlternativesOf(WStringView required, Parse parse) {
  std::vector<Phrase> phrases;
  for (auto rest = Pieces(required); rest;) {
    phrases.push_back(PhraseOf(parse(NextPiece(rest, ','))));
  }
  return Alternatives(phrases);
}

template <class Words>
std::string Joined(WStringView required, const char* between, Words words) {
  std::string text;
  for (auto rest = Pieces(required); rest;) {
    if (!text.empty()) text += between;
    text += words(NextPiece(rest, ','));
  }
  return text;
}

// Of a tag or an application; `thing` is "tag", `property` what its value is called.
std::string TermWords(WStringView piece, const std::string& thing, const std::string& property) {
  const KeyValueTerm term = KeyValueTerm::Parse(piece);
  const bool names_one = term.key.form == TextPattern::Form::kEqual && !term.key.negated;
  const std::string name = names_one
                               ? "the " + thing + " " + Utf8(term.key.text)
                               : "the first " + thing + " whose name " + PhraseOf(term.key).Text();
  return std::visit(
      [&](const auto& value) {
        if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::monostate>) {
          return name + (term.negated ? " is not there" : " is there");
        } else {
          return name + property + " " + PhraseOf(value).Text();
        }
      },
      term.value);
}

std::string RangeWords(const DateRange& range, WStringView required) {
  if (!range.has_two_pieces) return "the date range is " + Utf8(required);
  if (range.open_start && range.open_end) return "the date is any";
  if (range.open_end) return "the date is " + Utf8(range.start.text) + " or later";
  if (range.open_start) return "the date is " + Utf8(range.end.text) + " or earlier";
  return "the date is from " + Utf8(range.start.text) + " to " + Utf8(range.end.text);
}

std::string RolloutWords(const Rollout& rollout, WStringView required) {
  if (FlawOf(rollout)) return "the roll-out is " + Utf8(required);
  return std::string(rollout.by_tenant ? "the organisation" : "the device") +
         " is in the roll-out over " + Utf8(rollout.days.text) + " days from " +
         Utf8(rollout.start.text) + " (" + Utf8(rollout.growth_word) + ")";
}

std::string RegistryWords(WStringView piece) {
  const RegistryRequirement requirement = RegistryRequirement::Parse(piece);
  if (requirement.form != RegistryRequirement::Form::kComplete) {
    return "the registry has " + Utf8(piece);
  }
  const std::string name = requirement.name.empty() ? "the default value" : Utf8(requirement.name);
  return "the registry's " + Utf8(requirement.path) + ": " + name + " " +
         PhraseOf(TextPattern::Parse(requirement.data)).Text();
}

std::string ConditionOf(const CompiledList& list, const CompiledList::Step& step) {
  const WStringView required = step.required;
  const std::string subject = SubjectOf(step.field);
  switch (CriterionOf(step).language) {
    case Language::kText:
      return subject + " " + AlternativesOf(required, TextPattern::Parse);
    case Language::kVersion:
      return subject + " " + AlternativesOf(required, VersionRequirement::Parse);
    case Language::kTerms:
      if (step.field == FilterField::tag) {
        return Joined(required, " and ", [](WStringView p) { return TermWords(p, "tag", ""); });
      }
      return Joined(required, " or ",
                    [](WStringView p) { return TermWords(p, "application", "'s version"); });
    case Language::kDateRange:
      return RangeWords(list.Range(step), required);
    case Language::kRollout:
      return RolloutWords(list.RolloutOf(step), required);
    case Language::kRegistry:
      return Joined(required, " and ", RegistryWords);
    case Language::kHardwareId:
      return "the ID of a present device " + AlternativesOf(required, TextPattern::Parse);
  }
  return {};
}

}  // namespace

std::vector<FilterWords> WordsOf(const CompiledList& list) {
  std::vector<FilterWords> words;
  for (const CompiledList::Program& program : list.programs()) {
    FilterWords& filter = words.emplace_back();
    if (program.decides != CompiledList::Control::kNotSet) {
      filter.applies = program.decides == CompiledList::Control::kTrue;
      continue;
    }
    filter.applies = program.value;
    for (const CompiledList::Step& step : list.Steps(program)) {
      filter.conditions.push_back(ConditionOf(list, step));
    }
  }
  return words;
}

}  // namespace yox::decision
