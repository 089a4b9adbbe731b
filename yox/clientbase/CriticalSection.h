#pragma once

#include <mutex>

// A lock that is taken and left by explicit calls. The thread that holds it may enter again, and
// leaves as often.
class CriticalSection {
 public:
  CriticalSection() = default;
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void EnterLock() { mutex_.lock(); }
  void ExitLock() { mutex_.unlock(); }

 private:
  std::recursive_mutex mutex_;
};
