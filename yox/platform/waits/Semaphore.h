#pragma once

#include <memory>

#include "yox/base/Export.h"
#include "yox/platform/waits/Waits.h"

namespace yox::platform {

// A counting semaphore with a maximum. A wait that it ends takes one token. May be used from any
// thread. A Win32 semaphore on Windows. On Linux a counter in memory that needs no system call
// while no thread waits; its handle is therefore only for the waits of this library.
class YOX_API Semaphore {
 public:
  // 0 <= initial <= maximum. Throws std::system_error when the system cannot create one.
  Semaphore(long initial, long maximum);
  ~Semaphore();
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  // Adds `count` tokens. Returns false, and adds none, if `count` is not positive or the sum would
  // exceed the maximum.
  bool Release(long count = 1);
  // Takes a token. Returns false if there was none within the limit.
  bool Wait(std::int64_t milliseconds = kNoTimeLimit) {
    return WaitFor(handle(), milliseconds).signalled();
  }

  // For waits with other handles (Waits.h); valid while the semaphore lives.
  WaitHandle handle() const;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace yox::platform
