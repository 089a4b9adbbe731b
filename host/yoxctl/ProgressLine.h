#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "yox/base/ThreadSafety.h"

namespace yoxctl {

// Writes a message to standard error if the object lives longer than half a second.
class ProgressLine {
 public:
  explicit ProgressLine(std::string message);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

 private:
  static constexpr std::chrono::milliseconds kPatience{500};

  yox::Mutex mutex_;
  yox::ConditionVariable done_changed_;
  bool done_ YOX_GUARDED_BY(mutex_) = false;
  std::thread thread_;
};

}  // namespace yoxctl
