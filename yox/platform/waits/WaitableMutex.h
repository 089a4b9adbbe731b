#pragma once

#include <memory>

#include "yox/base/Export.h"
#include "yox/platform/waits/Waits.h"

namespace yox::platform {

// A mutex that can be waited for together with other handles. The thread that owns it may take it
// again, and releases it as often. A Win32 mutex on Windows; on Linux a word that costs no system
// call while nobody waits, so its handle is for the waits of this library only. A thread that ends
// as its owner hands it on to the next waiter on Windows, and nobody on Linux.
class YOX_API WaitableMutex {
 public:
  // Created unowned. Throws std::system_error when the system has none left.
  WaitableMutex();
  ~WaitableMutex();
  WaitableMutex(const WaitableMutex&) = delete;
  WaitableMutex& operator=(const WaitableMutex&) = delete;

  bool Wait(std::int64_t milliseconds = kNoTimeLimit) {
    return WaitFor(handle(), milliseconds).signalled();
  }
  // False, with nothing changed, when the calling thread is not the owner.
  bool Release();

  WaitHandle handle() const;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace yox::platform
