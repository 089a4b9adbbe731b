#include "yox/platform/devices/DeviceCallbacks.h"

#include <exception>
#include <utility>

#include "yox/base/Log.h"
#include "yox/platform/devices/DeviceEvent.h"

namespace yox::platform {

class DeviceCallbacks::Registration final : public DeviceRegistration {
 public:
  Registration(std::shared_ptr<DeviceCallbacks> callbacks, std::shared_ptr<Callback> callback)
      : callbacks_(std::move(callbacks)), callback_(std::move(callback)) {}
  ~Registration() override { callbacks_->End(callback_); }

 private:
  std::shared_ptr<DeviceCallbacks> callbacks_;
  std::shared_ptr<Callback> callback_;
};

void RunDeviceCallback(PCM_NOTIFY_CALLBACK function, void* context, CM_NOTIFY_ACTION action,
                       PCM_NOTIFY_EVENT_DATA data, Dword size) noexcept {
  const auto failed = [](const char* what) {
    g_log.e("%s: a callback threw an exception: %s", "DeviceTree::Register", what);
  };
  try {
    function(nullptr, context, action, data, size);
  } catch (const std::exception& error) {
    failed(error.what());
  } catch (...) {
    failed("not a standard exception");
  }
}

std::unique_ptr<DeviceRegistration> DeviceCallbacks::Add(PCM_NOTIFY_CALLBACK function,
                                                         void* context) {
  auto callback = std::make_shared<Callback>(Callback{function, context});
  {
    const MutexLock lock(mutex_);
    callbacks_.push_back(callback);
  }
  return std::make_unique<Registration>(shared_from_this(), std::move(callback));
}

void DeviceCallbacks::Deliver(CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data, Dword size) {
  MutexLock lock(mutex_);
  const auto registered = callbacks_;
  for (const auto& callback : registered) {
    if (callback->ended) continue;
    ++callback->running;
    lock.Unlock();
    RunDeviceCallback(callback->function, callback->context, action, data, size);
    lock.Lock();
    if (--callback->running == 0) finished_.NotifyAll();
  }
}

void DeviceCallbacks::Deliver(CM_NOTIFY_ACTION action, WStringView instance_id) {
  DeviceEvent event(instance_id);
  Deliver(action, event.data(), event.size());
}

void DeviceCallbacks::End(const std::shared_ptr<Callback>& callback) {
  MutexLock lock(mutex_);
  callback->ended = true;
  std::erase(callbacks_, callback);
  while (callback->running != 0) finished_.Wait(lock);
}

void DeviceCallbacks::EndAll() {
  std::vector<std::shared_ptr<Callback>> registered;
  {
    const MutexLock lock(mutex_);
    registered = callbacks_;
  }
  for (const auto& callback : registered) End(callback);
}

}  // namespace yox::platform
