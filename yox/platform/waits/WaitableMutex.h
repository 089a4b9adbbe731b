#pragma once

#include <memory>

#include "yox/base/Export.h"
#include "yox/platform/waits/Waits.h"

namespace yox::platform {

// A mutex that can be waited for together with other handles (Waits.h). For a lock that is waited
// for alone, use yox::Mutex. Recursive: the owner may take it again, and must release it as often.
// A Win32 mutex on Windows; on Linux an atomic word, without a system call while no thread waits,
// so its handle is for the waits of this library only. If a thread ends while it owns the mutex,
// the next waiter gets it on Windows, and no thread on Linux.
class YOX_API WaitableMutex {
 public:
  // Created unowned. Throws std::system_error when the system has none left.
  WaitableMutex();
  ~WaitableMutex();
  WaitableMutex(const WaitableMutex&) = delete;
  WaitableMutex& operator=(const WaitableMutex&) = delete;

  // Takes the mutex. Returns false if another thread has kept it for the whole limit.
  bool Wait(std::int64_t milliseconds = kNoTimeLimit) {
    return WaitFor(handle(), milliseconds).signalled();
  }
  // Returns false, and changes nothing, if the calling thread is not the owner.
  bool Release();

  // For waits with other handles (Waits.h); valid while the mutex lives.
  WaitHandle handle() const;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace yox::platform
