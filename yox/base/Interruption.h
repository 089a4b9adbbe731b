#pragma once

#include <csignal>
#include <exception>

#include "yox/base/Export.h"

// How the caller of long work on one thread ends it: work on a list of many filters looks after
// each filter whether it is interrupted.
namespace yox {

// Thrown by work that was interrupted. What it was to compute is left out as a whole.
class YOX_API Interrupted final : public std::exception {
 public:
  const char* what() const noexcept override { return "interrupted"; }
};

// While the object lives, work on its thread is interrupted as soon as the flag is not 0. A signal
// handler may set the flag. A null flag: it is not interrupted. Scopes may be nested; the innermost
// counts.
class YOX_API InterruptionScope {
 public:
  explicit InterruptionScope(const volatile std::sig_atomic_t* flag);
  ~InterruptionScope();
  InterruptionScope(const InterruptionScope&) = delete;
  InterruptionScope& operator=(const InterruptionScope&) = delete;

 private:
  const volatile std::sig_atomic_t* outer_;
};

// Throws Interrupted when the innermost scope of this thread is interrupted. Takes a nanosecond.
YOX_API void ThrowIfInterrupted();

}  // namespace yox
