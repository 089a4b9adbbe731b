#pragma once

#include <signal.h>

#include "yox/platform/waits/Event.h"

namespace yoxctl {

// Interrupting or terminating the program sets the event for as long as this lives.
class StopSignals {
 public:
  explicit StopSignals(yox::platform::Event& stop) {
    handle_ = stop.handle();
    for (const int number : kNumbers) signal(number, OnSignal);
  }
  ~StopSignals() {
    for (const int number : kNumbers) signal(number, SIG_DFL);
  }
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

 private:
  static constexpr int kNumbers[] = {SIGINT, SIGTERM};
  static void OnSignal(int /*number*/) { yox::platform::SignalEvent(handle_); }
  static inline yox::platform::WaitHandle handle_;
};

}  // namespace yoxctl
