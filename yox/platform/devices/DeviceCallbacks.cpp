#include "yox/platform/devices/DeviceCallbacks.h"

#include <utility>

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

std::unique_ptr<DeviceRegistration> DeviceCallbacks::Add(PCM_NOTIFY_CALLBACK function,
                                                         void* context) {
  auto callback = std::make_shared<Callback>(Callback{function, context});
  {
    const std::lock_guard lock(mutex_);
    callbacks_.push_back(callback);
  }
  return std::make_unique<Registration>(shared_from_this(), std::move(callback));
}

void DeviceCallbacks::Deliver(CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data, DWORD size) {
  std::unique_lock lock(mutex_);
  const auto registered = callbacks_;
  for (const auto& callback : registered) {
    if (callback->ended) continue;
    ++callback->running;
    lock.unlock();
    callback->function(nullptr, callback->context, action, data, size);
    lock.lock();
    if (--callback->running == 0) finished_.notify_all();
  }
}

void DeviceCallbacks::Deliver(CM_NOTIFY_ACTION action, WStringView instance_id) {
  DeviceEvent event(instance_id);
  Deliver(action, event.data(), event.size());
}

void DeviceCallbacks::End(const std::shared_ptr<Callback>& callback) {
  std::unique_lock lock(mutex_);
  callback->ended = true;
  std::erase(callbacks_, callback);
  finished_.wait(lock, [&] { return callback->running == 0; });
}

void DeviceCallbacks::EndAll() {
  std::unique_lock lock(mutex_);
  const auto registered = callbacks_;
  lock.unlock();
  for (const auto& callback : registered) End(callback);
}

}  // namespace yox::platform
