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
  const std::lock_guard lock(joining_);
  stop_ = false;
  thread_ = std::thread([this] {
    MonitorLoop();
    const std::lock_guard ended(mutex_);
    running_ = {};
  });
}

void PersonaTagRegistryMonitor::Stop() {
  {
    const std::lock_guard lock(mutex_);
    // The watcher first: a wait that it ends asks the flag only when the loop goes round. A thread
    // that has no watcher yet finds the flag when it makes one.
    if (monitor_) monitor_->Stop();
    stop_ = true;
    if (running_ == std::this_thread::get_id()) {
      throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }
  }
  const std::lock_guard lock(joining_);
  if (thread_.joinable()) thread_.join();
}

void PersonaTagRegistryMonitor::MonitorLoop() {
  constexpr const char* kOrigin = "yox::PersonaTagRegistryMonitor::MonitorLoop";
  CRegMonitor* monitor = nullptr;
  {
    const std::lock_guard lock(mutex_);
    running_ = std::this_thread::get_id();
    monitor_ = std::make_unique<CRegMonitor>();
    monitor = monitor_.get();
    if (stop_) monitor->Stop();
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
