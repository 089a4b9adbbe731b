#include "yox/decision/CompiledList.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <string>
#include <utility>

#include "yox/base/String.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/Fingerprint.h"
#include "yox/decision/ReasonText.h"

namespace yox::decision {

CompiledList::CompiledList(std::vector<Filter> filters)
    : id_([] {
        static std::atomic<std::uint64_t> last{0};
        return ++last;
      }()),
      filters_(std::move(filters)) {
  programs_.reserve(filters_.size());
  for (const Filter& filter : filters_) Compile(filter);
}

void CompiledList::Compile(const Filter& filter) {
  const std::string opening = "Filter [" + std::to_string(programs_.size()) + "]: ";
  Program program{&filter,
                  Control::kNotSet,
                  !String::CaseInsesitiveEqual(filter.View(FilterField::value), "false"_wv),
                  static_cast<std::uint32_t>(steps_.size()),
                  0,
                  arena_.Keep(WString(opening.begin(), opening.end()))};
  if (filter.IsSet(FilterField::default_)) {
    const bool applies = String::CaseInsesitiveEqual(filter.View(FilterField::default_), "true"_wv);
    program.decides = applies ? Control::kTrue : Control::kFalse;
  }
  for (std::uint32_t left = filter.criteria(); left != 0; left &= left - 1) {
    const auto criterion = static_cast<std::uint8_t>(std::countr_zero(left));
    const FilterField field = kCriteria[criterion].field;
    CompileCriterion(steps_.emplace_back(
        Step{field, criterion, 0, 0, filter.View(field), kCriteria[criterion].evaluate}));
    ++program.step_count;
  }
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

}  // namespace yox::decision
