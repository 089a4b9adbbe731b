#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

#include "yox/base/Export.h"
#include "yox/clientbase/CRegMonitor.h"
#include "yox/platform/waits/Waits.h"

namespace yox {

// Sets an event when what the user has said that the device is for changes in the registry. The
// watch is that of the user who is logged on when it starts: another user needs another monitor. It
// ends by itself, with a line in the log, when that cannot be watched. Stop may come from any
// thread at any time; the rest belongs to one thread.
class YOX_API PersonaTagRegistryMonitor {
 public:
  PersonaTagRegistryMonitor() = default;
  ~PersonaTagRegistryMonitor();
  PersonaTagRegistryMonitor(const PersonaTagRegistryMonitor&) = delete;
  PersonaTagRegistryMonitor& operator=(const PersonaTagRegistryMonitor&) = delete;

  // Before the start. May be null; not owned, it has to outlive the thread.
  void SetChangeEvent(yox::platform::WaitHandle event) { changed_ = event; }

  // Watches on a thread of its own. Throws std::system_error when there is none to be had. A
  // monitor that was started and not stopped ends the process.
  void Start();
  // Returns when the thread has ended, at once without one. Throws std::system_error on the thread
  // itself.
  void Stop();

 private:
  void MonitorLoop();

  std::mutex mutex_;                           // guards the two that follow
  std::unique_ptr<YOX::CRegMonitor> monitor_;  // made by the thread
  std::thread::id running_;                    // the thread, as long as it runs
  std::mutex joining_;                         // guards thread_; taken without mutex_
  std::thread thread_;
  std::atomic<bool> stop_{false};
  yox::platform::WaitHandle changed_;
};

}  // namespace yox
