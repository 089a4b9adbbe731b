#include "yox/decision/Filter.h"

#include <algorithm>
#include <utility>

#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Criteria.h"

using yox::WString;
using yox::decision::CompiledList;
using yox::decision::FilterField;
using yox::decision::kCriteria;
using yox::decision::kFilterFieldCount;

namespace {

// By field: the bit of its criterion, none for the two controls.
constexpr auto kCriterionBits = [] {
  std::array<std::uint32_t, kFilterFieldCount> bits{};
  for (std::size_t i = 0; i < kCriteria.size(); ++i) {
    bits[static_cast<std::size_t>(kCriteria[i].field)] = std::uint32_t{1} << i;
  }
  return bits;
}();

}  // namespace

Filter::Filter(Filter&& other) noexcept
    : texts_(std::move(other.texts_)),
      set_(std::exchange(other.set_, 0)),
      criteria_(std::exchange(other.criteria_, 0)) {
  // A short text may be left where it was.
  for (WString& text : other.texts_) text.clear();
}

Filter& Filter::operator=(Filter&& other) noexcept {
  if (this == &other) return *this;
  texts_ = std::move(other.texts_);
  set_ = std::exchange(other.set_, 0);
  criteria_ = std::exchange(other.criteria_, 0);
  for (WString& text : other.texts_) text.clear();
  return *this;
}

void Filter::Set(FilterField field, const WString& text) {
  WString& member = texts_[static_cast<std::size_t>(field)];
  if (&member != &text) member = text;
  const std::uint32_t criterion = kCriterionBits[static_cast<std::size_t>(field)];
  if (YOX::String::IsEmptyOrWhiteSpace(member)) {
    set_ &= ~Bit(field);
    criteria_ &= ~criterion;
  } else {
    set_ |= Bit(field);
    criteria_ |= criterion;
  }
}

ApplicabilityFilter::ApplicabilityFilter() : ApplicabilityFilter(List{}) {}

ApplicabilityFilter::ApplicabilityFilter(List filters)
    : list_(std::make_shared<const CompiledList>(std::move(filters))) {}

ApplicabilityFilter::ApplicabilityFilter(const ApplicabilityFilter& other)
    : list_(other.snapshot()) {}

ApplicabilityFilter& ApplicabilityFilter::operator=(const ApplicabilityFilter& other) {
  if (this != &other) list_.Set(other.snapshot());
  return *this;
}

ApplicabilityFilter::~ApplicabilityFilter() = default;

ApplicabilityFilter::List ApplicabilityFilter::filters() const { return snapshot()->filters(); }

void ApplicabilityFilter::set_filters(const List& filters) {
  list_.Set(std::make_shared<const CompiledList>(filters));
}

std::shared_ptr<const CompiledList> ApplicabilityFilter::snapshot() const { return list_.Get(); }

ApplicabilityFilter::Lease::Lease(const ApplicabilityFilter& filter) : list_(filter.list_) {}
ApplicabilityFilter::Lease::~Lease() = default;
