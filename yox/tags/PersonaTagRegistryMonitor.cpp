#include "yox/tags/PersonaTagRegistryMonitor.h"

#include <system_error>

#include "yox/base/Log.h"
#include "yox/clientbase/System.h"
#include "yox/tags/Persona.h"

using YOX::CRegMonitor;
using YOX::g_log;
using yox::WString;
using namespace yox::literals;

namespace yox {

PersonaTagRegistryMonitor::~PersonaTagRegistryMonitor() { Stop(); }

void PersonaTagRegistryMonitor::Start() {
  const MutexLock lock(start_and_stop_);
  stop_ = false;
  thread_ = std::thread([this] { Body(); });
}

void PersonaTagRegistryMonitor::Stop() {
  if (running_ == std::this_thread::get_id()) {
    RequestStop();
    throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
  }
  const MutexLock lock(start_and_stop_);
  RequestStop();
  if (thread_.joinable()) thread_.join();
}

// The watcher first, then the flag: the loop reads the flag only after a wait has returned. A
// thread that has no watcher yet finds the flag before its first wait.
void PersonaTagRegistryMonitor::RequestStop() {
  const MutexLock lock(mutex_);
  if (monitor_) monitor_->Stop();
  stop_ = true;
}

void PersonaTagRegistryMonitor::Body() {
  running_ = std::this_thread::get_id();
  MonitorLoop();
  running_ = std::thread::id();
}

void PersonaTagRegistryMonitor::MonitorLoop() {
  constexpr const char* kOrigin = "yox::PersonaTagRegistryMonitor::MonitorLoop";
  CRegMonitor* monitor = nullptr;
  {
    const MutexLock lock(mutex_);
    monitor_ = std::make_unique<CRegMonitor>();
    monitor = monitor_.get();
  }
  if (!monitor->Init()) {
    g_log.e("%s Init failed", kOrigin);
    return;
  }
  WString path;
  YOX::System::GetLoggedInUserSID(path);
  path.append("\\"_wv).append(Persona::kIntentRegistryPath);
  g_log.d("%s Monitoring subkey path %s", kOrigin, path);
  const std::uint32_t watch = monitor->AddMonitorKey(HKEY_USERS, path, {}, 1);
  if (watch == CRegMonitor::kFailed) {
    g_log.e("%s AddMonitorKey failed for persona tags", kOrigin);
    return;
  }
  while (!stop_) {
    std::uint32_t identifier = CRegMonitor::kFailed;
    if (!monitor->WaitForChange(identifier, 1)) return;
    if (identifier != watch) continue;
    g_log.d("%s Persona tags changed", kOrigin);
    if (!changed_.null()) yox::platform::SignalEvent(changed_);
  }
}

}  // namespace yox
