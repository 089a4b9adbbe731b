#pragma once

#include <span>

#include "yox/base/Export.h"

namespace yox::platform {

// Fills the bytes with the system's random numbers. False when there are none to be had.
YOX_API bool FillRandom(std::span<unsigned char> bytes);

// The system's own.
bool NativeFillRandom(std::span<unsigned char> bytes);

// Puts another source in the place of the system's for its lifetime.
class YOX_API ScopedRandomSource {
 public:
  using Source = bool (*)(std::span<unsigned char>);

  explicit ScopedRandomSource(Source source);
  ~ScopedRandomSource();
  ScopedRandomSource(const ScopedRandomSource&) = delete;
  ScopedRandomSource& operator=(const ScopedRandomSource&) = delete;

 private:
  Source former_;
};

}  // namespace yox::platform
