#include "host/yoxctl/ProgressLine.h"

#include <utility>

#include "host/yoxctl/Output.h"

namespace yoxctl {

ProgressLine::ProgressLine(std::string message)
    : thread_([this, message = std::move(message)] {
        yox::MutexLock lock(mutex_);
        const auto limit = std::chrono::steady_clock::now() + kPatience;
        while (!done_ && done_changed_.WaitUntil(lock, limit)) {
        }
        if (!done_) Complain(message);
      }) {}

ProgressLine::~ProgressLine() {
  {
    const yox::MutexLock lock(mutex_);
    done_ = true;
  }
  done_changed_.NotifyOne();
  thread_.join();
}

}  // namespace yoxctl
