#include "host/yoxctl/ProgressLine.h"

#include <utility>

#include "host/yoxctl/Output.h"

namespace yoxctl {

ProgressLine::ProgressLine(std::string message)
    : thread_([this, message = std::move(message)] {
        std::unique_lock lock(mutex_);
        if (!done_changed_.wait_for(lock, kPatience, [this] { return done_; })) Complain(message);
      }) {}

ProgressLine::~ProgressLine() {
  {
    const std::lock_guard lock(mutex_);
    done_ = true;
  }
  done_changed_.notify_one();
  thread_.join();
}

}  // namespace yoxctl
