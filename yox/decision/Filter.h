#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/decision/FilterFields.h"

namespace yox::decision {
class CompiledList;
}

// One filter: two controls (`default`, `value`) and 22 criteria, each a text as its author wrote
// it. A text that is empty or white space only counts as not set. A plain value.
class YOX_API Filter {
 public:
  yox::WString default_() const { return View(yox::decision::FilterField::default_); }
  void set_default(const yox::WString& text) { Set(yox::decision::FilterField::default_, text); }
#define YOX_ACCESSORS(name)                                                    \
  yox::WString name() const { return View(yox::decision::FilterField::name); } \
  void set_##name(const yox::WString& text) { Set(yox::decision::FilterField::name, text); }
  YOX_FILTER_FIELDS(YOX_ACCESSORS)
#undef YOX_ACCESSORS

  // A field's text without a copy; valid until the field is set.
  const yox::WString& View(yox::decision::FilterField field) const {
    return texts_[static_cast<std::size_t>(field)];
  }
  void Set(yox::decision::FilterField field, const yox::WString& text);

  bool IsSet(yox::decision::FilterField field) const { return (set_ & Bit(field)) != 0; }

  // The criteria that are set: bit n stands for the n-th criterion in the order of evaluation.
  std::uint32_t criteria() const { return criteria_; }

 private:
  static constexpr std::uint32_t Bit(yox::decision::FilterField field) {
    return std::uint32_t{1} << static_cast<unsigned>(field);
  }

  std::array<yox::WString, yox::decision::kFilterFieldCount> texts_;
  std::uint32_t set_ = 0;
  std::uint32_t criteria_ = 0;
};

// An ordered list of filters: the first decisive one ends an evaluation. A value whose copies share
// one unchanging list, so that a copy costs a reference count. One object may be decided on by
// several threads while none sets its filters.
class YOX_API ApplicabilityFilter {
 public:
  using List = std::vector<Filter>;

  ApplicabilityFilter();
  explicit ApplicabilityFilter(List filters);

  List filters() const;
  void set_filters(const List& filters);

  // The list as it stands now, with its requirements parsed; never null, and never changes.
  const std::shared_ptr<const yox::decision::CompiledList>& snapshot() const { return list_; }

 private:
  std::shared_ptr<const yox::decision::CompiledList> list_;
};
