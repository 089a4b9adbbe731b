#include "yox/foundation/YOXTag.h"

#include <utility>

// Moving a short string may leave the source unchanged; swapping with an empty one does not.
YOXTag::YOXTag(YOXTag&& other) noexcept {
  key_.swap(other.key_);
  value_.swap(other.value_);
}

YOXTag& YOXTag::operator=(YOXTag&& other) noexcept {
  if (this == &other) return *this;
  key_ = std::exchange(other.key_, {});
  value_ = std::exchange(other.value_, {});
  return *this;
}
