#include "yox/applicability/CompiledList.h"

#include <bit>
#include <utility>

#include "yox/applicability/Criteria.h"
#include "yox/base/String.h"

using YOX::String;
using yox::WStringView;
using namespace yox::literals;

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
      for (auto rest = yox::decision::Pieces(required); rest;) {
        add(all, parse(yox::decision::NextPiece(rest, ',')));
      }
    };
    switch (kCriteria[criterion].language) {
      case Language::kText:
        add_pieces(texts_, yox::decision::TextPattern::Parse);
        break;
      case Language::kVersion:
        add_pieces(versions_, yox::decision::VersionRequirement::Parse);
        break;
      case Language::kTerms:
        add_pieces(terms_, yox::decision::KeyValueTerm::Parse);
        break;
      case Language::kDateRange:
        add(ranges_, yox::decision::DateRange::Parse(required));
        break;
      case Language::kRollout:
        add(rollouts_, yox::decision::Rollout::Parse(required));
        break;
      case Language::kOwn:
        break;
    }
    steps_.push_back(step);
    ++program.step_count;
  }
  programs_.push_back(program);
}
