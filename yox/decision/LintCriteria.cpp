#include "yox/decision/LintCriteria.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include "yox/base/String.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/KnownValues.h"
#include "yox/decision/RegistryRequirement.h"

namespace yox::decision {
namespace {

using enum LintRule;

bool IsDigit(WChar unit) { return unit >= '0' && unit <= '9'; }

// Digits alone, a sign before them or not: nothing that reading it as a number would leave out.
bool IsWholeNumber(WStringView text) {
  text = String::Trimmed(text);
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  return !text.empty() && std::ranges::all_of(text, IsDigit);
}

std::size_t SizeOf(Comparison comparison) {
  if (comparison == Comparison::kNone) return 0;
  return comparison == Comparison::kAtLeast || comparison == Comparison::kAtMost ? 2 : 1;
}

bool StartsComparison(WStringView text) { return text.starts_with('<') || text.starts_with('>'); }

bool IsRealDay(const DateText& date) {
  using namespace std::chrono;
  const auto [year_text, month_text, day_text] = date.fields;
  if (month_text.number < 1 || day_text.number < 1 || day_text.number > 31) return false;
  // The calendar repeats after 400 years.
  const year_month_day day = year{year_text.number % 400 + 2000} /
                             month{static_cast<unsigned>(std::min(month_text.number, 13))} /
                             std::chrono::day{static_cast<unsigned>(day_text.number)};
  return day.ok();
}

std::string Quoted(WStringView text) { return "\"" + String::UTF16ToUTF8(text) + "\""; }

class CriterionLint {
 public:
  CriterionLint(const CompiledList& list, const CompiledList::Program& program,
                const CompiledList::Step& step, std::size_t filter, Effort& effort,
                std::vector<LintFinding>& findings)
      : list_(list),
        step_(step),
        field_(step.field),
        text_(program.filter->View(field_)),
        filter_(filter),
        effort_(effort),
        first_(findings.size()),
        findings_(findings) {}

  void Texts() {
    ForEachPiece([&](WStringView piece) {
      Alternative(piece);
      const TextPattern pattern = TextPattern::Parse(piece);
      const auto values = KnownValues(field_);
      const bool known = values.empty() || std::ranges::any_of(values, [&](WStringView value) {
                           return pattern.Matches(value);
                         });
      const bool possible = known && !(IsHash(field_) && !CanBeHash(pattern));
      if (!possible && HoldingOf(pattern) != Holding::kNever) Report(kNeverHolds, piece);
    });
    Covered(list_.Texts(step_));
  }

  void Versions() {
    std::size_t i = 0;
    ForEachPiece([&](WStringView piece) { VersionText(piece, list_.Versions(step_)[i++]); });
    Covered(list_.Versions(step_));
  }

  void Terms() {
    ForEachPiece([&](WStringView piece) { Term(piece); });
    const auto terms = list_.Terms(step_);
    if (field_ != FilterField::tag) return Covered(terms);
    Related(kContradictingTerms, terms,
            [](const auto& a, const auto& b) { return Contradict(a, b); });
  }

  void Range(const LocalDate& today) {
    const DateRange& range = list_.Range(step_);
    if (!range.has_two_pieces) return Report(kMalformed, text_);
    const bool start = !range.open_start && Date(range.start);
    const bool end = !range.open_end && Date(range.end);
    if (start && end && HoldingOf(range) == Holding::kNever) {
      Report(kWindowEmpty, text_);
    } else if (end && range.end.CompareTo(today).value_or(0) < 0) {
      Report(kWindowPast, range.end.text);
    }
    if (HoldingOf(range) == Holding::kAlways) Report(kAlwaysHolds, text_);
  }

  void Growth() {
    const Rollout& rollout = list_.RolloutOf(step_);
    if (!rollout.has_three_pieces) return Report(kMalformed, text_);
    Date(rollout.start);
    if (rollout.days.status != String::IntegerStatus::kOk) {
      Report(kNumberUnreadable, rollout.days.text);
    } else {
      Cut(rollout.days.text);
      if (rollout.days.number <= 0) Report(kRolloutDays, rollout.days.text);
    }
    if (!rollout.growth) Report(kRolloutGrowth, rollout.growth_word);
    const std::size_t fourth = static_cast<std::size_t>(rollout.growth_word.data() - text_.data()) +
                               rollout.growth_word.size() + 1;
    if (fourth > text_.size()) return;
    const WStringView behind = text_.substr(fourth);
    const WStringView segment = behind.substr(0, behind.find(WChar{'|'}));
    const bool by_device = segment.empty() || String::CaseInsesitiveEqual(segment, "device"_wv);
    if (!rollout.by_tenant && !by_device) Report(kRolloutSegment, segment);
    if (segment.size() != behind.size()) Report(kExtraPieces, behind.substr(segment.size()));
  }

  void Registry() {
    ForEachPiece([&](WStringView piece) { RegistryPiece(piece); });
  }

  // Patterns on what a device may have none of.
  void Patterns() {
    ForEachPiece([&](WStringView piece) { Alternative(piece); });
  }

 private:
  void Report(LintRule rule, WStringView at, std::string detail = {}) {
    findings_.push_back({rule, filter_, field_, static_cast<std::size_t>(at.data() - text_.data()),
                         at.size(), String::UTF16ToUTF8(at), std::move(detail)});
  }

  bool Reported(LintRule rule) const {
    return std::any_of(findings_.begin() + static_cast<std::ptrdiff_t>(first_), findings_.end(),
                       [&](const LintFinding& finding) { return finding.rule == rule; });
  }

  template <class Visit>
  void ForEachPiece(Visit visit) {
    for (auto rest = Pieces(text_); rest;) visit(NextPiece(rest, ','));
  }

  void Alternative(WStringView piece) {
    if (String::Trimmed(piece).empty()) return Report(kEmptyAlternative, piece);
    Pattern(piece);
  }

  // A pattern that is not blank.
  void Pattern(WStringView piece) {
    const WStringView written = String::Trimmed(piece);
    const TextPattern pattern = TextPattern::Parse(piece);
    if (pattern.form == TextPattern::Form::kEverything) return Report(kInnerStar, written);
    if (pattern.text.find(WChar{'*'}) != WStringView::npos) Report(kLiteralStar, written);
    if (!pattern.text.empty() &&
        (String::IsWhiteSpace(pattern.text.front()) || String::IsWhiteSpace(pattern.text.back()))) {
      Report(kWhiteSpace, written);
    }
    if (HoldingOf(pattern) == Holding::kNever) Report(kNeverHolds, written);
  }

  void VersionText(WStringView piece, const VersionRequirement& requirement) {
    if (requirement.text.empty()) return Report(kVersionUnreadable, piece);
    if (!requirement.valid) return Report(kVersionUnreadable, requirement.text);
    const WStringView number = requirement.text.substr(SizeOf(requirement.comparison));
    const bool plain = std::ranges::all_of(number, [](WChar unit) {
      return IsDigit(unit) || unit == '.' || String::IsWhiteSpace(unit);
    });
    if (!plain) Report(kVersionLetters, requirement.text);
    if (HoldingOf(requirement) == Holding::kNever) Report(kNeverHolds, requirement.text);
  }

  void Term(WStringView piece) {
    if (String::Trimmed(piece).empty()) return Report(kEmptyAlternative, piece);
    const std::size_t bar = piece.find(WChar{'|'});
    const WStringView key = String::Trimmed(piece.substr(0, bar));
    const KeyValueTerm term = KeyValueTerm::Parse(piece);
    if (bar == WStringView::npos) {
      if (term.key.form == TextPattern::Form::kEverything && term.key.text.empty() &&
          key.find(WChar{'*'}) == WStringView::npos) {
        return Report(kEmptyAlternative, key);
      }
      if (key.find_first_of("<>="_wv) != WStringView::npos) Report(kComparisonInKey, key);
      return KeyPattern(key, term.key);
    }
    if (key.empty()) {
      Report(kEmptyAlternative, piece.substr(0, bar));
    } else {
      KeyPattern(key, term.key);
    }
    if (term.key.negated) Report(kNegatedKey, key);
    Value(piece.substr(bar + 1), term);
  }

  // The key alone may have been freed of "!" before it was read as a pattern.
  void KeyPattern(WStringView key, const TextPattern& pattern) {
    if (pattern.form == TextPattern::Form::kEverything) return Report(kInnerStar, key);
    if (pattern.text.find(WChar{'*'}) != WStringView::npos) Report(kLiteralStar, key);
    if (!pattern.text.empty() &&
        (String::IsWhiteSpace(pattern.text.front()) || String::IsWhiteSpace(pattern.text.back()))) {
      Report(kWhiteSpace, key);
    }
    if (HoldingOf(pattern) == Holding::kNever) Report(kNeverHolds, key);
  }

  void Value(WStringView behind, const KeyValueTerm& term) {
    const std::size_t end = behind.find(WChar{'|'});
    const WStringView value = String::Trimmed(behind.substr(0, end));
    if (const auto* const version = std::get_if<VersionRequirement>(&term.value)) {
      VersionText(value, *version);
    } else if (const auto* const integer = std::get_if<IntegerRequirement>(&term.value)) {
      if (integer->status != String::IntegerStatus::kOk) {
        Report(kNumberUnreadable, value);
      } else {
        Cut(integer->operand);
      }
    } else if (!value.empty()) {
      Pattern(value);
    }
    if (end != WStringView::npos) Report(kExtraPieces, behind.substr(end));
  }

  void Cut(WStringView number) {
    if (!IsWholeNumber(number)) Report(kNumberCut, number);
  }

  // Whether its numbers can be read.
  bool Date(const DateText& date) {
    const bool readable = date.has_three_pieces && std::ranges::all_of(date.fields, [](auto& f) {
                            return f.status == String::IntegerStatus::kOk;
                          });
    if (!readable) {
      Report(kDateUnreadable, date.text);
      return false;
    }
    for (const IntegerText& field : date.fields) Cut(field.text);
    if (!IsRealDay(date)) Report(kDateImpossible, date.text);
    return true;
  }

  void RegistryPiece(WStringView piece) {
    const auto requirement = RegistryRequirement::Parse(piece);
    if (requirement.form != RegistryRequirement::Form::kComplete) return Report(kMalformed, piece);
    const WStringView path = requirement.path;
    if (HasBlankBesideName(path) || String::Trimmed(requirement.name) != requirement.name) {
      Report(kRegistryBlank, piece.substr(0, path.size() + 1 + requirement.name.size()));
    }
    RegistryPath(path);
    if (String::Trimmed(requirement.data).empty()) return;
    Pattern(requirement.data);
    if (StartsComparison(String::Trimmed(requirement.data))) {
      Report(kRegistryNumber, requirement.data);
    }
  }

  static bool IsSeparator(WChar unit) { return unit == '\\' || unit == '/'; }

  static bool HasBlankBesideName(WStringView path) {
    for (std::size_t i = 0; i < path.size(); ++i) {
      const bool beside =
          i == 0 || i + 1 == path.size() || IsSeparator(path[i - 1]) || IsSeparator(path[i + 1]);
      if (beside && String::IsWhiteSpace(path[i])) return true;
    }
    return false;
  }

  void RegistryPath(WStringView path) {
    const bool mixed =
        path.find(WChar{'/'}) != WStringView::npos && path.find(WChar{'\\'}) != WStringView::npos;
    if (mixed) return Report(kRegistrySeparators, path);
    const WStringView trimmed = String::Trimmed(path);
    WString below(trimmed);
    if (!TakeHive(below)) return Report(kRegistryHive, path);
    const auto hive_end = std::ranges::find_if(trimmed, IsSeparator);
    const WStringView written(hive_end + 1, trimmed.end());
    const WStringView eaten = written.substr(0, written.size() - below.size());
    const bool separators_only = std::ranges::all_of(eaten, IsSeparator);
    if (HasDoubledSeparator(below) || (separators_only && !eaten.empty())) {
      return Report(kRegistrySeparators, path);
    }
    if (!separators_only) Report(kRegistryEaten, path, "looked up as " + Quoted(below));
  }

  // The alternatives as a whole, unless what stands before explains it.
  template <class Requirement>
  void Covered(std::span<const Requirement> all) {
    if (Reported(kInnerStar) || Reported(kEmptyAlternative)) return;
    if (!KnownValues(field_).empty()) return;
    std::size_t i = 0;
    bool always = false;
    ForEachPiece([&](WStringView piece) {
      // To have any subscription is something to ask for.
      const bool asked = field_ == FilterField::device_subscription;
      if (HoldingOf(all[i++]) != Holding::kAlways || asked || always) return;
      Report(kAlwaysHolds, String::Trimmed(piece));
      always = true;
    });
    if (always) return;
    Related(kCoveringAlternatives, all, [](const auto& a, const auto& b) { return Cover(a, b); });
  }

  // The first piece that is so related to one before it.
  template <class Requirement, class IsRelated>
  void Related(LintRule rule, std::span<const Requirement> all, IsRelated related) {
    std::vector<WStringView> pieces;
    ForEachPiece([&](WStringView piece) { pieces.push_back(piece); });
    for (std::size_t i = 1; i < all.size(); ++i) {
      for (std::size_t k = 0; k < i; ++k) {
        if (!effort_.Spend()) return;
        if (!related(all[k], all[i])) continue;
        return Report(rule, String::Trimmed(pieces[i]),
                      "with " + Quoted(String::Trimmed(pieces[k])));
      }
    }
  }

  const CompiledList& list_;
  const CompiledList::Step& step_;
  const FilterField field_;
  const WStringView text_;
  const std::size_t filter_;
  Effort& effort_;
  const std::size_t first_;
  std::vector<LintFinding>& findings_;
};

}  // namespace

void LintCriterion(const CompiledList& list, const CompiledList::Program& program,
                   const CompiledList::Step& step, std::size_t filter, const LocalDate& today,
                   Effort& effort, std::vector<LintFinding>& findings) {
  CriterionLint lint(list, program, step, filter, effort, findings);
  switch (kCriteria[step.criterion].language) {
    case Language::kText:
      return lint.Texts();
    case Language::kVersion:
      return lint.Versions();
    case Language::kTerms:
      return lint.Terms();
    case Language::kDateRange:
      return lint.Range(today);
    case Language::kRollout:
      return lint.Growth();
    case Language::kRegistry:
      return lint.Registry();
    case Language::kHardwareId:
      return lint.Patterns();
  }
}

}  // namespace yox::decision
