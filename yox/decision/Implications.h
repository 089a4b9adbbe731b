#pragma once

#include <cstdint>
#include <span>

#include "yox/decision/CompiledList.h"
#include "yox/decision/Dates.h"
#include "yox/decision/MatchOperators.h"

// What follows from requirements alone, for lint. Every "true", kAlways and kNever is proven;
// "false" and kSometimes mean that no proof was found. All functions are pure.
namespace yox::decision {

enum class Holding : std::uint8_t { kSometimes, kAlways, kNever };

// Over all values, which have no surrounding white space.
Holding HoldingOf(const TextPattern& pattern);
// Over all versions.
Holding HoldingOf(const VersionRequirement& requirement);
// Over all lists of pairs.
Holding HoldingOf(const KeyValueTerm& term);
// Over all days.
Holding HoldingOf(const DateRange& range);
// Over all days and buckets.
Holding HoldingOf(const Rollout& rollout);

// Whether no value satisfies both.
bool Contradict(const TextPattern& a, const TextPattern& b);
bool Contradict(const KeyValueTerm& a, const KeyValueTerm& b);

// Whether every value, or every version, satisfies at least one of them.
bool Cover(const TextPattern& a, const TextPattern& b);
bool Cover(const VersionRequirement& a, const VersionRequirement& b);
// Whether every list of pairs satisfies at least one of them.
bool Cover(const KeyValueTerm& a, const KeyValueTerm& b);

// Whether everything that satisfies `a` satisfies `b`.
bool Implies(const TextPattern& a, const TextPattern& b);
bool Implies(const VersionRequirement& a, const VersionRequirement& b);
bool Implies(const KeyValueTerm& a, const KeyValueTerm& b);
bool Implies(const DateRange& a, const DateRange& b);

// A budget for comparing each requirement with each other. Lists with thousands of alternatives,
// which programs write, exhaust it; further findings are then not looked for.
class Effort {
 public:
  explicit Effort(std::uint32_t steps) : left_(steps) {}

  bool Spend() { return left_ != 0 && left_-- != 0; }
  bool spent() const { return left_ == 0; }

 private:
  std::uint32_t left_;
};

// Evaluates a criterion without a device: kAlways if it is true on every device, kNever if on none.
Holding HoldingOf(const CompiledList& list, const CompiledList::Step& step, Effort& effort);

// All of a filter's criteria.
Holding HoldingOf(const CompiledList& list, const CompiledList::Program& program, Effort& effort);

// Whether every device meets at least one of two criteria; not all that do so are found.
bool Cover(const CompiledList& list, const CompiledList::Step& a, const CompiledList::Step& b,
           Effort& effort);

// Whether every device that matches `one` matches `other`. Neither may have `default`.
bool Implies(const CompiledList& list, const CompiledList::Program& one,
             const CompiledList::Program& other, Effort& effort);

}  // namespace yox::decision
