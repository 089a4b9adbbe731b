#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/Filter.h"
#include "yox/decision/FilterFields.h"
#include "yox/decision/Lint.h"

namespace yox::decision {

// Finds what a list requires and no device of a fleet has, and the nearest that exists. Each
// alternative and each term of a criterion is decided on its own on every device. Dates, roll-outs
// and target versions are left out: they do not depend on the device alone.
class FleetLint {
 public:
  YOX_API explicit FleetLint(const ApplicabilityFilter& list);
  YOX_API ~FleetLint();
  FleetLint(const FleetLint&) = delete;
  FleetLint& operator=(const FleetLint&) = delete;

  // What some of the devices have. For one thread; several threads may each fill one of their own.
  class Tally {
   public:
    YOX_API explicit Tally(const FleetLint& lint);

    // Counts what a device has.
    YOX_API void Add(DeviceFacts& facts);

   private:
    friend class FleetLint;
    using Counts = std::map<WString, std::uint64_t>;  // how many devices have a value

    void Count(Counts& counts, WStringView value);
    void CountPairs(const PairSource& pairs, FilterField field, std::span<const WStringView> keys);

    const FleetLint* lint_;
    std::vector<bool> known_;  // by question: whether a device surely does not meet it
    std::map<FilterField, Counts> values_;
    std::map<std::pair<FilterField, WString>, Counts> values_of_keys_;  // of tags and items
  };

  // Adds what a tally has. Not at the same time as another Add.
  YOX_API void Add(const Tally& tally);

  // What is required and no device of the tallies has: a finding of LintRule::kNoDevice for each
  // place, for LintDocument. A device whose value is unknown does not count.
  YOX_API std::vector<LintFinding> Findings() const;

 private:
  struct Question;

  // A value or key that exists.
  struct Meant {
    std::string text;
    std::uint64_t devices;
    std::size_t size;  // of what it replaces
    bool is_value;     // else a key
    bool is_fix;       // it can be written in its place
  };

  std::optional<Meant> NearestTo(const Question& question) const;

  std::shared_ptr<const CompiledList> list_;
  std::vector<std::unique_ptr<Question>> questions_;
  Tally all_;
};

}  // namespace yox::decision
