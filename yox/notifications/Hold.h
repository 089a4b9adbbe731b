#pragma once

#include "yox/platform/waits/Mutex.h"

namespace yox::notifications {

// Holds a mutex for its lifetime.
class Hold {
 public:
  explicit Hold(platform::Mutex& mutex) : mutex_(mutex) { mutex_.Wait(); }
  ~Hold() { mutex_.Release(); }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

 private:
  platform::Mutex& mutex_;
};

}  // namespace yox::notifications
