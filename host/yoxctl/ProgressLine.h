#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace yoxctl {

// Says on standard error what takes so long, once, when the object lives longer than half a second.
class ProgressLine {
 public:
  explicit ProgressLine(std::string message);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

 private:
  static constexpr std::chrono::milliseconds kPatience{500};

  std::mutex mutex_;
  std::condition_variable done_changed_;
  bool done_ = false;  // under mutex_
  std::thread thread_;
};

}  // namespace yoxctl
