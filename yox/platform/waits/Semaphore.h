#pragma once

#include <memory>

#include "yox/base/Export.h"
#include "yox/platform/waits/Waits.h"

namespace yox::platform {

// A count of tokens between 0 and a maximum. Each wait that it ends takes one token. Safe from any
// thread. A Win32 semaphore on Windows; on Linux a count that costs no system call while nobody
// waits, so its handle is for the waits of this library only.
class YOX_API Semaphore {
 public:
  // 0 <= initial <= maximum. Throws std::system_error when the system has none left.
  Semaphore(long initial, long maximum);
  ~Semaphore();
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  // Adds `count` tokens. False, with nothing added, when `count` is not positive or the sum would
  // pass the maximum.
  bool Release(long count = 1);
  bool Wait(std::int64_t milliseconds = kNoTimeLimit) {
    return WaitFor(handle(), milliseconds).signalled();
  }

  WaitHandle handle() const;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace yox::platform
