#pragma once

#include <array>
#include <cstddef>

#include "yox/base/WString.h"
#include "yox/decision/Observer.h"

namespace yox::decision {

// The longest text that one filter adds to a reason after its opening.
inline constexpr std::size_t kLongestReasonWords = 40;

// Returns the words for a filter that fails at this criterion, such as "country = false; ".
WStringView FailedWords(const CompiledList::Step& step);

// Writes the reason text of a decision: a part for each filter that was passed, and one for the
// filter that decided, such as "Filter [0]: country = false; Filter [1]: true; ". The text is empty
// if a filter was undecided.
class ReasonText : public Observer {
 public:
  // Clears `reason` and appends to it. A decision allocates at most once, and not at all if its
  // capacity suffices. Both arguments must outlive the object.
  ReasonText(const CompiledList& list, WString& reason);

  void FilterPassed(std::size_t filter, const Failure& failure) override;
  void FilterUndecided(std::size_t filter) override;
  void FilterDecided(std::size_t filter, const CompiledList::Program& program,
                     bool applies) override;

 private:
  void Append(WStringView words);

  const CompiledList& list_;
  WString& reason_;
  bool is_known_ = true;
};

}  // namespace yox::decision
