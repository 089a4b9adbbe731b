#pragma once

#include <cstddef>
#include <unordered_map>
#include <utility>

#include "yox/base/WString.h"

namespace yox::platform {

// A cache of results of reads. When it is full it is emptied, which costs less than to keep account
// of use. One thread at a time.
template <class Result>
class ReadCache {
 public:
  // Returns the result for the key; one that is missing comes from `read(key)`. The reference is
  // valid until the next call.
  template <class Read>
  const Result& Find(WString key, Read read) {
    const auto known = results_.find(key);
    if (known != results_.end()) return known->second;
    if (results_.size() >= kMost) results_.clear();
    return results_.emplace(std::move(key), read(key)).first->second;
  }
  void Clear() { results_.clear(); }

 private:
  static constexpr std::size_t kMost = 256;

  std::unordered_map<WString, Result> results_;
};

}  // namespace yox::platform
