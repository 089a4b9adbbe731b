#include "yox/decision/CompiledList.h"

#include <bit>
#include <utility>

#include "yox/base/String.h"
#include "yox/decision/Criteria.h"

namespace yox::decision {

CompiledList::CompiledList(std::vector<Filter> filters) : filters_(std::move(filters)) {
  programs_.reserve(filters_.size());
  for (const Filter& filter : filters_) Compile(filter);
}

void CompiledList::Compile(const Filter& filter) {
  Program program{&filter, Control::kNotSet, true, static_cast<std::uint32_t>(steps_.size()), 0};
  if (filter.IsSet(FilterField::default_)) {
    const bool applies = String::CaseInsesitiveEqual(filter.View(FilterField::default_), "true"_wv);
    program.decides = applies ? Control::kTrue : Control::kFalse;
  }
  program.value = !String::CaseInsesitiveEqual(filter.View(FilterField::value), "false"_wv);

  for (std::uint32_t left = filter.criteria(); left != 0; left &= left - 1) {
    const auto criterion = static_cast<std::uint8_t>(std::countr_zero(left));
    Step step{kCriteria[criterion].field, criterion, 0, 0};
    const WStringView required = filter.View(step.field);
    const auto add = [&step](auto& all, const auto& requirement) {
      if (step.count++ == 0) step.first = static_cast<std::uint32_t>(all.size());
      all.push_back(requirement);
    };
    const auto add_pieces = [&](auto& all, auto parse) {
      for (auto rest = Pieces(required); rest;) {
        add(all, parse(NextPiece(rest, ',')));
      }
    };
    switch (kCriteria[criterion].language) {
      case Language::kText:
        add_pieces(texts_, TextPattern::Parse);
        break;
      case Language::kVersion:
        add_pieces(versions_, VersionRequirement::Parse);
        break;
      case Language::kTerms:
        add_pieces(terms_, KeyValueTerm::Parse);
        break;
      case Language::kDateRange:
        add(ranges_, DateRange::Parse(required));
        break;
      case Language::kRollout:
        add(rollouts_, Rollout::Parse(required));
        break;
      case Language::kOwn:
        break;
    }
    steps_.push_back(step);
    ++program.step_count;
  }
  programs_.push_back(program);
}

}  // namespace yox::decision
