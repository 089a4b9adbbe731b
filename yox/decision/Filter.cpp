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

// A reader marks a seat before it reads the pointer, and clears the mark when it is done. Once the
// pointer has been replaced, a seat that is seen empty has no reader of the former list: a thread
// that takes it later reads the new pointer. Mark, pointer and their counterparts in FreeRetired
// are sequentially consistent, so that either the reader sees the new pointer or the writer sees
// the mark. These are hazard pointers after Michael, with the mark kept beside the one pointer.
//
// Leaving needs no such order. A reader that does not see in time that a list has been retired
// leaves it to the next lease or the next list; so the way out is a plain store.
std::atomic<bool>* ApplicabilityFilter::Enter() const {
  for (std::atomic<bool>& seat : seats_) {
    bool is_taken = false;
    if (!seat.load(std::memory_order_relaxed) && seat.compare_exchange_strong(is_taken, true)) {
      return &seat;
    }
  }
  standing_.fetch_add(1);
  return nullptr;
}

ApplicabilityFilter::Lease::Lease(const ApplicabilityFilter& filter)
    : filter_(filter), seat_(filter.Enter()), list_(filter.current_.load()) {}

ApplicabilityFilter::Lease::~Lease() {
  if (seat_ != nullptr) {
    seat_->store(false, std::memory_order_release);
  } else {
    filter_.standing_.fetch_sub(1);
  }
  if (filter_.has_retired_.load(std::memory_order_relaxed)) filter_.FreeRetired();
}

bool ApplicabilityFilter::IsLeased() const {
  return standing_.load() != 0 ||
         std::ranges::any_of(seats_, [](const std::atomic<bool>& seat) { return seat.load(); });
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
  if (IsLeased()) return;
  has_retired_ = false;
  unused.swap(retired_);
}
