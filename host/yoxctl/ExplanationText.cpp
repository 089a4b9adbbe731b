#include "host/yoxctl/ExplanationText.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "yox/base/String.h"
#include "yox/decision/ExplanationDocument.h"

#include "host/yoxctl/Output.h"
#include "host/yoxctl/Table.h"

using yox::decision::CriterionResult;
using yox::decision::ExplainedCriterion;
using yox::decision::ExplainedFact;
using yox::decision::ExplainedFilter;
using yox::decision::Explanation;
using yox::decision::FilterField;
using yox::decision::kFilterFieldNames;
using yox::decision::WordOf;

namespace yoxctl {
namespace {

using Outcome = ExplainedFilter::Outcome;

constexpr std::array kResultPaints = {Paint::kGood, Paint::kBad, Paint::kOdd, Paint::kOdd};
constexpr std::array kOutcomePaints = {Paint::kStrong, Paint::kPlain, Paint::kStrong, Paint::kFaint,
                                       Paint::kOdd};

Paint PaintOf(CriterionResult result) { return kResultPaints[static_cast<std::size_t>(result)]; }
Paint PaintOf(Outcome outcome) { return kOutcomePaints[static_cast<std::size_t>(outcome)]; }

std::string TextOf(CriterionResult result) { return std::string(WordOf(result)); }

std::string NameOf(FilterField field) {
  return std::string(kFilterFieldNames[static_cast<std::size_t>(field)]);
}

// The first digits of a hash identify it.
constexpr std::size_t kHashDigits = 16;

std::string Shown(FilterField field, const yox::WString& text) {
  const bool hash = field == FilterField::org_hash || field == FilterField::sn_hash;
  std::string shown = OneLine(YOX::String::UTF16ToUTF8(text));
  if (hash && shown.size() > kHashDigits) shown = shown.substr(0, kHashDigits) + "...";
  return shown;
}

// Returns what the device has, or why it has no value.
std::string ShownActual(FilterField field, const ExplainedFact& fact) {
  return fact.actual.empty() ? "(" + fact.note + ")" : Shown(field, fact.actual);
}

std::string Origin(const ExplainedFact& fact) {
  const bool told = fact.note.empty() || fact.actual.empty();
  return OneLine(told ? fact.source : fact.source + ": " + fact.note);
}

// Where the columns of a filter's criteria begin.
struct Layout {
  static constexpr std::size_t kResult = 2;
  static constexpr std::size_t kName = 11;
  static constexpr std::size_t kPart = 13;  // the result of one of several facts
  std::size_t required = kPart + 9;
  std::size_t actual = 0;
  std::size_t origin = 0;

  explicit Layout(const ExplainedFilter& filter) {
    constexpr std::size_t kWidestRequired = 26;
    constexpr std::size_t kWidestActual = 16;
    std::size_t widest_required = 0;
    std::size_t widest_actual = 0;
    for (const ExplainedCriterion& criterion : filter.criteria) {
      required = std::max(required, kName + NameOf(criterion.field).size() + 2);
      for (const ExplainedFact& fact : criterion.facts) {
        widest_required = std::max(widest_required, Columns(Shown(criterion.field, fact.required)));
        widest_actual = std::max(widest_actual, Columns(ShownActual(criterion.field, fact)));
      }
    }
    actual = required + std::min(widest_required, kWidestRequired) + 2;
    origin = actual + std::min(widest_actual, kWidestActual) + 2;
  }
};

// On one line if it fits; what does not goes below, at the place of what is before it.
void WriteFact(Lines& lines, const Layout& layout, FilterField field, const ExplainedFact& fact) {
  constexpr std::size_t kIndent = 2;
  constexpr std::size_t kNarrow = 24;  // for words
  const std::string required = Shown(field, fact.required);
  const std::string actual = ShownActual(field, fact);
  const std::string origin = Origin(fact);

  lines.To(layout.required).Write(Paint::kPlain, required);
  const bool aligned =
      lines.column() + 2 <= layout.actual && layout.actual + Columns(actual) <= LineColumns();
  const std::size_t below = aligned ? layout.actual : layout.required + kIndent;
  if (!aligned) lines.NewLine();
  lines.To(below).Write(PaintOf(fact.result), actual);
  const std::size_t behind = lines.column() + 2;
  const std::size_t column = aligned ? std::max(behind, layout.origin) : behind;
  if (column + Columns(origin) <= LineColumns()) {
    lines.To(column);
  } else if (behind + Columns(origin) <= LineColumns()) {
    lines.To(behind);
  } else {
    lines.NewLine().To(below + kNarrow <= LineColumns() ? below : layout.required + kIndent);
  }
  lines.WriteWords(Paint::kFaint, origin).NewLine();
}

std::string LeftOut(const ExplainedCriterion& criterion) {
  return "and " + std::to_string(criterion.facts_left_out) + " more";
}

std::string CriterionText(const ExplainedCriterion& criterion, const Layout& layout,
                          const Painter& paint) {
  Lines lines(paint);
  lines.To(Layout::kResult).Write(PaintOf(criterion.result), TextOf(criterion.result));
  lines.To(Layout::kName).Write(Paint::kPlain, NameOf(criterion.field));
  if (criterion.facts.size() > 1) lines.NewLine();
  for (const ExplainedFact& fact : criterion.facts) {
    if (criterion.facts.size() > 1)
      lines.To(Layout::kPart).Write(PaintOf(fact.result), TextOf(fact.result));
    WriteFact(lines, layout, criterion.field, fact);
  }
  if (criterion.facts_left_out > 0) {
    lines.To(Layout::kPart).Write(Paint::kFaint, LeftOut(criterion)).NewLine();
  }
  return std::move(lines).Take();
}

std::ptrdiff_t CountFailing(const ExplainedFilter& filter) {
  return std::ranges::count_if(filter.criteria, [](const auto& criterion) {
    return criterion.result != CriterionResult::kHeld;
  });
}

// What would have to change, a line for each fact that fails.
std::string ChangesText(const ExplainedCriterion& criterion, const Painter& paint) {
  // Of these one part is enough.
  const bool any = criterion.field == FilterField::installed_items ||
                   criterion.field == FilterField::device_subscription;
  Lines lines(paint);
  bool first = true;
  for (const ExplainedFact& fact : criterion.facts) {
    if (fact.result == CriterionResult::kHeld) continue;
    std::string line = (any && !first ? "or " : "") + NameOf(criterion.field);
    line += fact.actual.empty() ? " is missing" : " is " + Shown(criterion.field, fact.actual);
    if (!fact.note.empty()) line += " (" + OneLine(fact.note) + ")";
    line += ", required " + Shown(criterion.field, fact.required);
    lines.To(2).WriteWords(PaintOf(fact.result), line, 2).NewLine();
    first = false;
  }
  if (!first && criterion.facts_left_out > 0) {
    lines.To(2).Write(Paint::kFaint, LeftOut(criterion)).NewLine();
  }
  return std::move(lines).Take();
}

}  // namespace

std::string AnswerWord(const Json::Value& applies) {
  if (applies.isNull()) return "undetermined";
  return applies.asBool() ? "applies" : "does not apply";
}

std::string AnswerWord(const Explanation& explanation) {
  return AnswerWord(explanation.is_undetermined ? Json::Value() : Json::Value(explanation.applies));
}

std::string FilterText(const Explanation& explanation, std::size_t index, const Painter& paint) {
  const ExplainedFilter& filter = explanation.filters[index];
  const Layout layout(filter);
  std::string head =
      "Filter [" + std::to_string(index) + "]: " + std::string(WordOf(filter.outcome));
  if (explanation.decided_by == index) head += ", decides: " + AnswerWord(filter.answer);
  if (filter.outcome == Outcome::kNotMatched && filter.criteria.size() > 1) {
    head += ", " + std::to_string(CountFailing(filter)) + " of " +
            std::to_string(filter.criteria.size()) + " fail";
  }
  std::string text = paint(PaintOf(filter.outcome), head) + "\n";
  for (const ExplainedCriterion& criterion : filter.criteria) {
    text += CriterionText(criterion, layout, paint);
  }
  return text;
}

std::string NearestMissText(const Explanation& explanation, const Painter& paint) {
  if (!explanation.nearest_miss) return "";
  const ExplainedFilter& filter = explanation.filters[*explanation.nearest_miss];
  std::string text =
      paint(Paint::kStrong, "Nearest miss: filter [" + std::to_string(*explanation.nearest_miss) +
                                "], which would decide: " + AnswerWord(filter.answer)) +
      "\n";
  for (const ExplainedCriterion& criterion : filter.criteria) {
    text += ChangesText(criterion, paint);
  }
  return text;
}

std::string ExplanationText(const Explanation& explanation, const Painter& paint) {
  std::string text;
  for (std::size_t i = 0; i < explanation.filters.size(); ++i) {
    text += "\n" + FilterText(explanation, i, paint);
  }
  if (explanation.nearest_miss) text += "\n" + NearestMissText(explanation, paint);
  return text;
}

}  // namespace yoxctl
