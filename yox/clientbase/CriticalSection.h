#pragma once

#include "yox/base/ThreadSafety.h"

// A lock that is taken and released by explicit calls. The thread that has it may enter again, and
// exits as often.
class YOX_CAPABILITY("mutex") CriticalSection {
 public:
  CriticalSection() = default;
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void EnterLock() YOX_ACQUIRE() YOX_NO_THREAD_SAFETY_ANALYSIS { mutex_.lock(); }
  void ExitLock() YOX_RELEASE() YOX_NO_THREAD_SAFETY_ANALYSIS { mutex_.unlock(); }

 private:
  yox::RecursiveMutex mutex_;
};
