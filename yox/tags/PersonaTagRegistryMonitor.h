#pragma once

#include <atomic>
#include <memory>
#include <thread>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"
#include "yox/clientbase/CRegMonitor.h"
#include "yox/platform/waits/Waits.h"

namespace yox {

// Signals an event when the logged-on user's choice of uses (see Persona.h) changes in the
// registry. The watch is on the user who is logged on when the thread starts; another user needs
// another monitor. The thread ends by itself, with a line in the log, when it cannot watch. Safe
// from any thread, except SetChangeEvent.
class YOX_API PersonaTagRegistryMonitor {
 public:
  PersonaTagRegistryMonitor() = default;
  ~PersonaTagRegistryMonitor();
  PersonaTagRegistryMonitor(const PersonaTagRegistryMonitor&) = delete;
  PersonaTagRegistryMonitor& operator=(const PersonaTagRegistryMonitor&) = delete;

  // Call it before Start. The event may be null; it is not owned and must outlive the thread.
  void SetChangeEvent(yox::platform::WaitHandle event) { changed_ = event; }

  // Starts the thread that watches, after a Stop on another thread has ended. Throws
  // std::system_error when no thread can be created. Starting a monitor that was started and not
  // stopped terminates the process.
  void Start();
  // Returns when the thread has ended; at once if it was never started. Of a Start and a Stop that
  // race, one comes first: either the thread is running afterwards, or it has ended. Throws
  // std::system_error (resource_deadlock_would_occur) on the watching thread itself, which it has
  // asked to end.
  void Stop();

 private:
  void Body();
  void MonitorLoop();
  void RequestStop();

  // Held for the whole of Start and Stop, the join included.
  Mutex start_and_stop_ YOX_ACQUIRED_BEFORE(mutex_);
  std::thread thread_ YOX_GUARDED_BY(start_and_stop_);

  Mutex mutex_;
  std::unique_ptr<YOX::CRegMonitor> monitor_ YOX_GUARDED_BY(mutex_);  // created by the thread

  std::atomic<bool> stop_{false};
  std::atomic<std::thread::id> running_{};  // the thread, while it runs
  yox::platform::WaitHandle changed_;
};

}  // namespace yox
