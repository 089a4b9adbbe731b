#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/devices/DeviceEvent.h"
#include "yox/platform/devices/DeviceTree.h"

// What every device tree has to do. The suites are in DeviceTreeContractTest.cpp and run on
// whatever a program instantiates them with.
namespace yox_test {

// A device tree, and if it can be done on it, ways to plug and unplug a security key at place 1, 2.
class DeviceTreeUnderTest {
 public:
  virtual ~DeviceTreeUnderTest() = default;
  virtual yox::platform::DeviceTree& tree() = 0;
  virtual void Plug(int /*place*/) {}
  virtual void Unplug(int /*place*/) {}
};

struct DeviceTreeRow {
  const char* name;
  std::function<std::unique_ptr<DeviceTreeUnderTest>()> make;
};
inline void PrintTo(const DeviceTreeRow& row, std::ostream* out) { *out << row.name; }

class OnDeviceTree : public testing::TestWithParam<DeviceTreeRow> {
 protected:
  yox::platform::DeviceTree& tree() { return under_test_->tree(); }
  void Plug(int place) { under_test_->Plug(place); }
  void Unplug(int place) { under_test_->Unplug(place); }

  std::vector<yox::platform::PresentDevice> Present() {
    std::vector<yox::platform::PresentDevice> present;
    tree().Enumerate([&](yox::platform::PresentDevice device) { present.push_back(device); });
    return present;
  }

 private:
  std::unique_ptr<DeviceTreeUnderTest> under_test_ = GetParam().make();
};

class DeviceTreeContract : public OnDeviceTree {};        // reading
class DeviceTreeEventsContract : public OnDeviceTree {};  // where devices can be plugged

// Writes down the events of a registration, and waits for them.
class HeardEvents {
 public:
  struct Heard {
    CM_NOTIFY_ACTION action;
    yox::WString instance_id;

    friend bool operator==(const Heard&, const Heard&) = default;
  };

  explicit HeardEvents(yox::platform::DeviceTree& tree)
      : registration_(tree.Register(OnEvent, this)) {}

  bool registered() const { return registration_ != nullptr; }
  void End() { registration_.reset(); }

  // Waits for the event; returns false when it does not come within half a minute.
  [[nodiscard]] bool Wait(const Heard& wanted) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    yox::MutexLock lock(mutex_);
    while (std::ranges::find(heard_, wanted) == heard_.end()) {
      if (!arrived_.WaitUntil(lock, end)) {
        return std::ranges::find(heard_, wanted) != heard_.end();
      }
    }
    return true;
  }
  std::vector<Heard> heard() const {
    const yox::MutexLock lock(mutex_);
    return heard_;
  }

 private:
  static yox::platform::Dword OnEvent(HCMNOTIFICATION /*notification*/, void* context,
                                      CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data,
                                      yox::platform::Dword size) {
    auto* const self = static_cast<HeardEvents*>(context);
    const yox::MutexLock lock(self->mutex_);
    self->heard_.push_back(
        {action, yox::WString(yox::platform::DeviceEvent::InstanceId(data, size))});
    self->arrived_.NotifyAll();
    return 0;
  }

  mutable yox::Mutex mutex_;
  yox::ConditionVariable arrived_;
  std::vector<Heard> heard_ YOX_GUARDED_BY(mutex_);
  std::unique_ptr<yox::platform::DeviceRegistration> registration_;
};

}  // namespace yox_test
