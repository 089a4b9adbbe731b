#include "yox/decision/ReasonText.h"

#include <algorithm>

#include "yox/decision/Criteria.h"

namespace yox::decision {
namespace {

struct Words {
  std::array<WChar, kLongestReasonWords> units{};
  std::size_t size = 0;
};

// By criterion; the compiler refuses a name that is too long.
constexpr auto kFailedWords = [] {
  std::array<Words, kCriteria.size()> all;
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (const char c : kCriteria[i].name()) all[i].units[all[i].size++] = static_cast<WChar>(c);
    for (const WChar unit : " = false; "_wv) all[i].units[all[i].size++] = unit;
  }
  return all;
}();

// Beyond this a reason grows as it is written: of a long list most reasons are short.
constexpr std::size_t kMostReserved = 1024;

}  // namespace

WStringView FailedWords(const CompiledList::Step& step) {
  const Words& words = kFailedWords[step.criterion];
  return {words.units.data(), words.size};
}

ReasonText::ReasonText(const CompiledList& list, WString& reason) : list_(list), reason_(reason) {
  reason_.clear();
}

void ReasonText::FilterPassed(std::size_t /*filter*/, const Failure& failure) {
  Append(failure.is_unnamed ? failure.program.opening : failure.step.reason);
}

void ReasonText::FilterUndecided(std::size_t /*filter*/) {
  is_known_ = false;
  reason_.clear();
}

void ReasonText::FilterDecided(std::size_t /*filter*/, const CompiledList::Program& program,
                               bool applies) {
  if (program.decides == CompiledList::Control::kNotSet) {
    Append(program.opening);
    Append(applies ? "true; "_wv : "value = false; "_wv);
  } else if (!applies) {
    Append(program.opening);
    Append("default = false; "_wv);
  }
}

void ReasonText::Append(WStringView words) {
  if (!is_known_) return;
  const std::size_t size = reason_.size() + words.size();
  if (size > reason_.capacity() && size <= kMostReserved) {
    reason_.reserve(std::min(list_.longest_reason(), kMostReserved));
  }
  reason_.append(words);
}

}  // namespace yox::decision
