#pragma once

#include <span>

#include "yox/base/Export.h"

namespace yox::platform {

// Fills the bytes from the system's cryptographic random number generator. Returns false if that
// fails. May be called from any thread.
YOX_API bool FillRandom(std::span<unsigned char> bytes);

// The system's generator, whatever source is installed.
bool NativeFillRandom(std::span<unsigned char> bytes);

// For tests. Installs another source for FillRandom for its lifetime.
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
