#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/Json.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FilterFields.h"

namespace yox::decision {

// Counts what one list decides on many devices: how many it applies to, how far each walk came, and
// which criterion excluded how many. A value without a lock: each thread, process or group counts
// into its own, and the results are merged in any order. Its size depends on the list alone.
class YOX_API Funnel {
 public:
  struct CriterionCounts {
    std::uint64_t first = 0;  // it was the first criterion of the filter that did not match
    std::uint64_t only = 0;   // it was the only one; the others match, and none is unknown
  };

  struct FilterCounts {
    std::uint64_t reached = 0;  // the walk came to this filter
    // The filter decided, and no filter before it was undecided. Of `reached`, those that neither
    // were decided nor excluded are devices whose walk met an undecided filter.
    std::uint64_t decided = 0;
    std::array<CriterionCounts, kFilterFieldCount> criteria = {};  // by FilterField
  };

  // Decides the list on the device, counts the result and returns it. A list is one and the same
  // for all devices of a funnel. What `facts` throws leaves the counts of `filters` incomplete.
  Verdict Add(const CompiledList& list, DeviceFacts& facts);

  // Adds the counts of a funnel of the same list.
  void Merge(const Funnel& other);

  std::uint64_t devices() const { return applies_ + does_not_apply_ + undetermined_; }
  std::uint64_t applies() const { return applies_; }
  std::uint64_t does_not_apply() const { return does_not_apply_; }
  std::uint64_t undetermined() const { return undetermined_; }
  // By index; as many as the list has, empty before the first device.
  const std::vector<FilterCounts>& filters() const { return filters_; }
  // How many undetermined devices need a fact, by the name of the fact.
  const std::map<std::string, std::uint64_t>& needs() const { return needs_; }

  // The counts as JSON, UTF-8: "devices", "applies", "does_not_apply", "undetermined", "filters"
  // and "needs". Criteria that excluded no device are left out.
  std::string ToJsonText(JsonStyle style = JsonStyle::kReadable) const;

  // The counts as bytes, for another process of the same version of the library; a few bytes for
  // each count that is not 0. FromBytes returns std::nullopt for bytes of another form.
  std::string ToBytes() const;
  static std::optional<Funnel> FromBytes(std::string_view bytes);

 private:
  std::uint64_t applies_ = 0;
  std::uint64_t does_not_apply_ = 0;
  std::uint64_t undetermined_ = 0;
  std::vector<FilterCounts> filters_;
  std::map<std::string, std::uint64_t> needs_;
};

}  // namespace yox::decision
