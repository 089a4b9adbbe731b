#pragma once

#include <cstdint>
#include <span>

#include "yox/decision/CompiledList.h"
#include "yox/decision/Dates.h"
#include "yox/decision/MatchOperators.h"

// What follows of requirements before any device is known. Every "true", kAlways and kNever is
// certain; the other answers say that nothing was found out. Requirements are held against each
// other by their own Matches.
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

// No value meets both.
bool Contradict(const TextPattern& a, const TextPattern& b);
bool Contradict(const KeyValueTerm& a, const KeyValueTerm& b);

// Every value meets one of them; of versions, every version.
bool Cover(const TextPattern& a, const TextPattern& b);
bool Cover(const VersionRequirement& a, const VersionRequirement& b);
// Every list of pairs meets one of them.
bool Cover(const KeyValueTerm& a, const KeyValueTerm& b);

// What meets `a` meets `b`.
bool Implies(const TextPattern& a, const TextPattern& b);
bool Implies(const VersionRequirement& a, const VersionRequirement& b);
bool Implies(const KeyValueTerm& a, const KeyValueTerm& b);
bool Implies(const DateRange& a, const DateRange& b);

// How much work the comparison of each with each may take. Lists of thousands of alternatives are
// written by programs: what is not looked at is not found, and nothing else.
class Effort {
 public:
  bool Spend() { return left_ != 0 && left_-- != 0; }
  bool spent() const { return left_ == 0; }

 private:
  std::uint32_t left_ = 5'000'000;
};

// A criterion of a list, as the evaluator holds it: kAlways when it holds on every device, kNever
// when on none.
Holding HoldingOf(const CompiledList& list, const CompiledList::Step& step, Effort& effort);

// All of a filter's criteria.
Holding HoldingOf(const CompiledList& list, const CompiledList::Program& program, Effort& effort);

// Whatever matches the one filter matches the other; neither has `default`.
bool Implies(const CompiledList& list, const CompiledList::Program& one,
             const CompiledList::Program& other, Effort& effort);

}  // namespace yox::decision
