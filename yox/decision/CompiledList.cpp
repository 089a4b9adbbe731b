#include "yox/decision/CompiledList.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <string>
#include <utility>
#include <variant>

#include "yox/base/FoldedText.h"
#include "yox/base/Interruption.h"
#include "yox/base/String.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/ReasonText.h"

namespace yox::decision {

CompiledList::CompiledList(std::vector<Filter> filters)
    : id_([] {
        static std::atomic<std::uint64_t> last{0};
        return ++last;
      }()),
      filters_(std::move(filters)) {
  programs_.reserve(filters_.size());
  for (const Filter& filter : filters_) {
    ThrowIfInterrupted();
    Compile(filter);
  }
  AddInlineMark(InlineStep::Kind::kEndOfList);
  LinkInlineSteps();
}

void CompiledList::Compile(const Filter& filter) {
  const std::string opening = "Filter [" + std::to_string(programs_.size()) + "]: ";
  Program program{&filter,
                  Control::kNotSet,
                  !String::CaseInsesitiveEqual(filter.View(FilterField::value), "false"_wv),
                  static_cast<std::uint32_t>(steps_.size()),
                  0,
                  arena_.Keep(WString(opening.begin(), opening.end())),
                  static_cast<std::uint32_t>(inline_steps_.size())};
  if (filter.IsSet(FilterField::default_)) {
    const bool applies = String::CaseInsesitiveEqual(filter.View(FilterField::default_), "true"_wv);
    program.decides = applies ? Control::kTrue : Control::kFalse;
    AddInlineMark(InlineStep::Kind::kDefault, applies);
    ++program.first_inline;
  }
  for (std::uint32_t left = filter.criteria(); left != 0; left &= left - 1) {
    const auto criterion = static_cast<std::uint8_t>(std::countr_zero(left));
    const FilterField field = kCriteria[criterion].field;
    CompileCriterion(steps_.emplace_back(
        Step{field, criterion, 0, 0, filter.View(field), kCriteria[criterion].evaluate}));
    AddInline(steps_.back());
    steps_.back().reason = arena_.Keep(WString(program.opening).append(FailedWords(steps_.back())));
    ++program.step_count;
  }
  AddInlineMark(InlineStep::Kind::kMatched, program.value);
  longest_reason_ += program.opening.size() + kLongestReasonWords;
  programs_.push_back(program);
}

TextPattern CompiledList::Folded(TextPattern pattern) {
  pattern.text = arena_.KeepFolded(pattern.text);
  pattern.fingerprint = Fingerprint(pattern.text);
  return pattern;
}

void CompiledList::CompileCriterion(Step& step) {
  const auto add = [&step](auto& all, auto&& requirement) {
    if (step.count++ == 0) step.first = static_cast<std::uint32_t>(all.size());
    all.push_back(std::forward<decltype(requirement)>(requirement));
  };
  const auto add_pieces = [&](auto& all, auto compile) {
    for (auto rest = Pieces(step.required); rest;) add(all, compile(NextPiece(rest, ',')));
  };
  switch (kCriteria[step.criterion].language) {
    case Language::kText:
      add_pieces(texts_, [&](WStringView piece) { return Folded(TextPattern::Parse(piece)); });
      step.alternatives = alternatives_.Add(Texts(step));
      break;
    case Language::kVersion:
      add_pieces(versions_, VersionRequirement::Parse);
      break;
    case Language::kTerms:
      add_pieces(terms_, [&](WStringView piece) {
        KeyValueTerm term = KeyValueTerm::Parse(piece);
        term.key = Folded(term.key);
        if (auto* const pattern = std::get_if<TextPattern>(&term.value))
          *pattern = Folded(*pattern);
        return term;
      });
      break;
    case Language::kDateRange:
      add(ranges_, DateRange::Parse(step.required));
      break;
    case Language::kRollout:
      add(rollouts_, Rollout::Parse(step.required));
      break;
    case Language::kRegistry:
      add_pieces(registry_, [&](WStringView piece) {
        return CompiledRegistryRequirement::Compile(piece, arena_);
      });
      break;
    case Language::kHardwareId:
      add(hardware_ids_, HardwareIdRequirement::Compile(step.required, arena_));
      break;
  }
}

void CompiledList::AddInlineMark(InlineStep::Kind kind, bool applies) {
  InlineStep& mark = inline_steps_.emplace_back();
  mark.kind = kind;
  mark.applies = applies;
}

void CompiledList::LinkInlineSteps() {
  auto next = static_cast<std::uint32_t>(inline_steps_.size() - 1);
  for (std::size_t i = inline_steps_.size() - 1; i-- != 0;) {
    InlineStep& step = inline_steps_[i];
    if (step.kind == InlineStep::Kind::kMatched) next = static_cast<std::uint32_t>(i + 1);
    step.otherwise = next;
  }
}

// A criterion that is a conjunction of terms becomes one step for each. All of its terms or none:
// the others would have to be evaluated once more with the whole.
void CompiledList::AddInline(const Step& step) {
  using enum InlineStep::Kind;
  InlineStep compiled;
  compiled.field = step.field;
  compiled.step = static_cast<std::uint32_t>(steps_.size() - 1);
  const auto set_text = [&](InlineStep::Kind kind, const TextPattern& pattern) {
    compiled.kind = kind;
    compiled.negated = pattern.negated;
    compiled.size = static_cast<std::uint32_t>(pattern.text.size());
    compiled.text = {pattern.text.data(), kind == kText  ? pattern.fingerprint
                                          : kind == kEnd ? LastUnits(pattern.text)
                                                         : FirstUnits(pattern.text)};
  };
  if (step.evaluate == EvaluateText) {
    const auto patterns = Texts(step);
    if (patterns.size() == 1 && !patterns.front().text.empty()) {
      const TextPattern& pattern = patterns.front();
      switch (pattern.form) {
        case TextPattern::Form::kEqual:
          set_text(kText, pattern);
          break;
        case TextPattern::Form::kStartsWith:
          set_text(kStart, pattern);
          break;
        case TextPattern::Form::kEndsWith:
          set_text(kEnd, pattern);
          break;
        case TextPattern::Form::kContains:
          set_text(kMiddle, pattern);
          break;
        case TextPattern::Form::kEverything:
          break;
      }
    } else if (step.alternatives.pattern_count != 0) {
      compiled.kind = kPatterns;
    } else if (!step.alternatives.texts.empty()) {
      compiled.kind = kTexts;
      compiled.texts = step.alternatives.texts;
    }
  } else if (step.evaluate == EvaluateVersion && step.count == 1) {
    const VersionRequirement& required = Versions(step).front();
    // Without an operator the texts are compared.
    if (required.valid && required.comparison != Comparison::kNone) {
      compiled.kind = kVersion;
      compiled.orders = OrdersOf(required.comparison);
      compiled.version = OrderedVersion(required.version);
    }
  } else if (step.evaluate == EvaluateTags) {
    const auto terms = Terms(step);
    const auto is_inline = [](const KeyValueTerm& term) {
      return term.key.IsText() && !term.negated && std::holds_alternative<TextPattern>(term.value);
    };
    if (std::ranges::all_of(terms, is_inline)) {
      for (std::uint32_t i = 0; i < terms.size(); ++i) {
        const auto& value = std::get<TextPattern>(terms[i].value);
        compiled.kind = value.IsText() ? kTag : kTagMatch;
        compiled.size = step.first + i;
        compiled.tag = {terms[i].key.fingerprint, value.fingerprint};
        inline_steps_.push_back(compiled);
      }
      if (!terms.empty()) return;
    }
  }
  inline_steps_.push_back(compiled);
}

}  // namespace yox::decision
