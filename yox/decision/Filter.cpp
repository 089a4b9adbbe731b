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
    : list_(std::make_shared<const CompiledList>(std::move(filters))), current_(list_.get()) {}

ApplicabilityFilter::ApplicabilityFilter(const ApplicabilityFilter& other)
    : list_(other.snapshot()), current_(list_.get()) {}

ApplicabilityFilter& ApplicabilityFilter::operator=(const ApplicabilityFilter& other) {
  if (this != &other) Replace(other.snapshot());
  return *this;
}

ApplicabilityFilter::~ApplicabilityFilter() = default;

ApplicabilityFilter::List ApplicabilityFilter::filters() const { return snapshot()->filters(); }

void ApplicabilityFilter::set_filters(const List& filters) {
  Replace(std::make_shared<const CompiledList>(filters));
}

std::shared_ptr<const CompiledList> ApplicabilityFilter::snapshot() const {
  const yox::MutexLock lock(mutex_);
  return list_;
}

// A lease that does not see in time that a list has been retired leaves it to the next lease or the
// next list; so the way out needs no fence.
ApplicabilityFilter::Lease::Lease(const ApplicabilityFilter& filter)
    : filter_(filter), mark_(&filter), list_(filter.current_.load()) {}

ApplicabilityFilter::Lease::~Lease() {
  mark_.reset();
  if (filter_.has_retired_.load(std::memory_order_relaxed)) filter_.FreeRetired();
}

void ApplicabilityFilter::Replace(Compiled list) {
  {
    const yox::MutexLock lock(mutex_);
    current_ = list.get();
    list_.swap(list);
    retired_.push_back(std::move(list));
    has_retired_ = true;
  }
  FreeRetired();
}

void ApplicabilityFilter::FreeRetired() const {
  std::vector<Compiled> unused;  // freed without the lock
  const yox::MutexLock lock(mutex_);
  if (yox::HazardMark::IsInUse(this)) return;
  has_retired_ = false;
  unused.swap(retired_);
}
