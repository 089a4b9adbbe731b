#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "yox/base/String.h"
#include "yox/base/WString.h"

namespace yox::decision {

// Owns texts that others keep as views. The returned views are valid until the arena is destroyed,
// even if it is moved. For one thread at a time.
class TextArena {
 public:
  WStringView Keep(WStringView text) {
    WChar* const copy = Take(text.size());
    std::ranges::copy(text, copy);
    return {copy, text.size()};
  }
  // Keeps a copy with its letter case folded.
  WStringView KeepFolded(WStringView text) {
    WChar* const copy = Take(text.size());
    std::ranges::transform(text, copy, String::FoldCase);
    return {copy, text.size()};
  }

 private:
  static constexpr std::size_t kBlock = 512;

  WChar* Take(std::size_t size) {
    if (size > left_) {
      left_ = std::max(size, kBlock);
      // Left unset: every unit is written before it is read.
      next_ = blocks_.emplace_back(new WChar[left_]).get();
    }
    left_ -= size;
    return std::exchange(next_, next_ + size);
  }

  std::vector<std::unique_ptr<WChar[]>> blocks_;
  WChar* next_ = nullptr;
  std::size_t left_ = 0;
};

}  // namespace yox::decision
