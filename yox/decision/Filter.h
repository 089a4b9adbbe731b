#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/Published.h"
#include "yox/base/WString.h"
#include "yox/decision/FilterFields.h"

class ApplicabilityEvaluator;

namespace yox::decision {
class CompiledList;
}

// One filter: two controls (`default`, `value`) and 22 criteria, each a text as its author wrote
// it. A text that is empty or white space only counts as not set. A plain value.
class YOX_API Filter {
 public:
  Filter() = default;
  Filter(const Filter&) = default;
  Filter& operator=(const Filter&) = default;
  // A filter that was moved from has no field set.
  Filter(Filter&& other) noexcept;
  Filter& operator=(Filter&& other) noexcept;
  ~Filter() = default;

  yox::WString default_() const { return View(yox::decision::FilterField::default_); }
  void set_default(const yox::WString& text) { Set(yox::decision::FilterField::default_, text); }
#define YOX_ACCESSORS(name)                                                    \
  yox::WString name() const { return View(yox::decision::FilterField::name); } \
  void set_##name(const yox::WString& text) { Set(yox::decision::FilterField::name, text); }
  YOX_FILTER_FIELDS(YOX_ACCESSORS)
#undef YOX_ACCESSORS

  // Returns a field's text without a copy; valid until the field is set.
  const yox::WString& View(yox::decision::FilterField field) const {
    return texts_[static_cast<std::size_t>(field)];
  }
  void Set(yox::decision::FilterField field, const yox::WString& text);

  bool IsSet(yox::decision::FilterField field) const { return (set_ & Bit(field)) != 0; }

  // A bit set of the criteria that are set: bit n is the n-th criterion in the order of evaluation.
  std::uint32_t criteria() const { return criteria_; }

 private:
  static constexpr std::uint32_t Bit(yox::decision::FilterField field) {
    return std::uint32_t{1} << static_cast<unsigned>(field);
  }

  std::array<yox::WString, yox::decision::kFilterFieldCount> texts_;
  std::uint32_t set_ = 0;
  std::uint32_t criteria_ = 0;
};

// An ordered list of filters. Copies share one immutable compiled list, so that a copy costs a
// reference count; an object that was moved from keeps its list. Safe from any thread: a decision
// continues with the list that it started with while another thread, or a callback of the host
// during that decision, sets other filters.
class YOX_API ApplicabilityFilter {
 public:
  using List = std::vector<Filter>;

  ApplicabilityFilter();
  explicit ApplicabilityFilter(List filters);
  ApplicabilityFilter(const ApplicabilityFilter& other);
  ApplicabilityFilter& operator=(const ApplicabilityFilter& other);
  ~ApplicabilityFilter();

  // Returns a copy of the list as it was set.
  List filters() const;
  // Replaces the list as a whole. A requirement that is malformed is no error (see CompiledList).
  void set_filters(const List& filters);

  // Returns the current list with its requirements parsed. Never null; the object that it points to
  // never changes.
  std::shared_ptr<const yox::decision::CompiledList> snapshot() const;

  // The same for the length of a block, cheaper than a shared pointer. The ApplicabilityFilter must
  // outlive it. For the thread that created it; leases of a thread nest like blocks.
  class YOX_API Lease {
   public:
    explicit Lease(const ApplicabilityFilter& filter);
    ~Lease();
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    const yox::decision::CompiledList& operator*() const { return *list_; }

   private:
    const yox::Published<yox::decision::CompiledList>::Lease list_;
  };

 private:
  friend class ApplicabilityEvaluator;  // leases without a call

  yox::Published<yox::decision::CompiledList> list_;
};
