#include "yox/platform/devices/linux/LinuxDeviceTree.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <string>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

#include "yox/base/Log.h"
#include "yox/platform/devices/DeviceCallbacks.h"
#include "yox/platform/devices/linux/UdevDevice.h"
#include "yox/platform/waits/Event.h"

namespace yox::platform {
namespace {

constexpr const char* kDaemonSocket = "/run/udev/control";
// Room for a burst, such as a dock with everything in it; the kernel may grant less.
constexpr int kReceiveBuffer = 8 << 20;

template <class Visit>  // (path, device)
void Scan(udev* context, const Visit& visit) {
  const UdevRef<udev_enumerate> enumerate(udev_enumerate_new(context));
  if (enumerate == nullptr) return;
  MatchNamedBuses(enumerate.get());
  if (udev_enumerate_scan_devices(enumerate.get()) < 0) return;
  udev_list_entry* entry = nullptr;
  udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate.get())) {
    const char* const path = udev_list_entry_get_name(entry);
    const UdevRef<udev_device> device(udev_device_new_from_syspath(context, path));
    if (device == nullptr) continue;
    if (auto present = Describe(device.get())) visit(path, std::move(*present));
  }
}

// Blocks every signal in this thread for its lifetime.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former_);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t former_;
};

}  // namespace

// Which device is, or was, at which path: the event of a device that has gone carries its path
// only. An entry stays until the event of the removal, even if an enumeration in between no longer
// finds the device, so that the removal can be delivered. Safe from any thread.
class LinuxDeviceTree::Known {
 public:
  // Returns the instance that was at the path before if it was another one, else an empty string.
  WString Put(const std::string& path, const WString& instance) {
    const MutexLock lock(mutex_);
    WString former = std::exchange(instances_[path], instance);
    if (former == instance) return {};
    Forget(former, path);
    paths_[instance] = path;
    return former;
  }
  WString Take(const std::string& path) {
    const MutexLock lock(mutex_);
    const auto node = instances_.extract(path);
    if (node.empty()) return {};
    Forget(node.mapped(), path);
    return node.mapped();
  }
  std::string PathOf(const WString& instance) const {
    const MutexLock lock(mutex_);
    const auto path = paths_.find(instance);
    return path != paths_.end() ? path->second : std::string();
  }
  std::map<std::string, WString> Instances() const {
    const MutexLock lock(mutex_);
    return instances_;
  }

 private:
  // Unless the instance has moved to another path in the meantime.
  void Forget(const WString& instance, const std::string& path) YOX_REQUIRES(mutex_) {
    const auto known = paths_.find(instance);
    if (known != paths_.end() && known->second == path) paths_.erase(known);
  }

  mutable yox::Mutex mutex_;
  std::map<std::string, WString> instances_ YOX_GUARDED_BY(mutex_);        // by path
  std::unordered_map<WString, std::string> paths_ YOX_GUARDED_BY(mutex_);  // by instance
};

// Listens from its construction on, and delivers events on a thread of its own. Only that thread
// takes entries out of what is known.
class LinuxDeviceTree::Monitor {
 public:
  Monitor(const char* source, std::shared_ptr<Known> known)
      : known_(std::move(known)), callbacks_(std::make_shared<DeviceCallbacks>()) {
    context_.reset(udev_new());
    if (context_ == nullptr) return;
    monitor_.reset(udev_monitor_new_from_netlink(context_.get(), source));
    if (monitor_ == nullptr) return;
    udev_monitor_set_receive_buffer_size(monitor_.get(), kReceiveBuffer);
    if (udev_monitor_enable_receiving(monitor_.get()) < 0) return;

    // A new thread inherits the mask. Signals are for the host's own threads to handle.
    const AllSignalsBlocked blocked;
    try {
      thread_ = std::thread([this] { Run(); });
    } catch (const std::system_error& error) {
      g_log.e("%s: no thread for device events: %s", "LinuxDeviceTree::Register", error.what());
    }
  }

  ~Monitor() {
    stop_.Set();
    if (thread_.joinable()) thread_.join();
  }

  bool listens() const { return thread_.joinable(); }
  DeviceCallbacks& callbacks() { return *callbacks_; }

 private:
  void Run() {
    const WaitHandle events(udev_monitor_get_fd(monitor_.get()));
    for (;;) {
      const WaitResult wait = WaitForAny({stop_.handle(), events});
      if (!wait.signalled() || wait.index == 0) return;
      errno = 0;
      const UdevRef<udev_device> device(udev_monitor_receive_device(monitor_.get()));
      if (device != nullptr) {
        OnEvent(device.get());
      } else if (errno == ENOBUFS) {
        Rescan();
      }
    }
  }

  void OnEvent(udev_device* device) {
    const char* const action = udev_device_get_action(device);
    const char* const path = udev_device_get_syspath(device);
    if (action == nullptr || path == nullptr) return;
    if (std::string_view(action) == "add") {
      if (const auto present = Describe(device)) Arrive(path, present->instance_id);
    } else if (std::string_view(action) == "remove") {
      Leave(path);
    } else if (udev_device_get_property_value(device, "HOTPLUG") != nullptr) {
      Rescan();  // a display was plugged into, or pulled from, one of the adapter's connectors
    }
  }

  void Arrive(const std::string& path, const WString& instance) {
    if (const WString former = known_->Put(path, instance); !former.empty()) {
      callbacks_->Deliver(CM_NOTIFY_ACTION_DEVICEINSTANCEREMOVED, former);
    }
    callbacks_->Deliver(CM_NOTIFY_ACTION_DEVICEINSTANCEENUMERATED, instance);
  }

  void Leave(const std::string& path) {
    if (const WString gone = known_->Take(path); !gone.empty()) {
      callbacks_->Deliver(CM_NOTIFY_ACTION_DEVICEINSTANCEREMOVED, gone);
    }
  }

  // Compares what is present with what is known, and delivers the difference. For events that were
  // lost, or that do not say what came and went.
  void Rescan() {
    auto gone = known_->Instances();
    std::map<std::string, WString> come;
    Scan(context_.get(), [&](const char* path, const PresentDevice& present) {
      const auto known = gone.find(path);
      if (known == gone.end() || known->second != present.instance_id) {
        come[path] = present.instance_id;
      }
      if (known != gone.end()) gone.erase(known);
    });
    for (const auto& [path, instance] : gone) Leave(path);
    for (const auto& [path, instance] : come) Arrive(path, instance);
  }

  const std::shared_ptr<Known> known_;
  const std::shared_ptr<DeviceCallbacks> callbacks_;
  UdevRef<udev> context_;
  UdevRef<udev_monitor> monitor_;
  Event stop_;
  std::thread thread_;
};

// The last registration to end stops the monitor and its thread.
class LinuxDeviceTree::Registration final : public DeviceRegistration {
 public:
  Registration(std::shared_ptr<Monitor> monitor, std::unique_ptr<DeviceRegistration> callback)
      : monitor_(std::move(monitor)), callback_(std::move(callback)) {}

 private:
  std::shared_ptr<Monitor> monitor_;
  std::unique_ptr<DeviceRegistration> callback_;
};

LinuxDeviceTree::LinuxDeviceTree(Source source)
    : source_(source), known_(std::make_shared<Known>()) {}
LinuxDeviceTree::~LinuxDeviceTree() = default;

std::unique_ptr<DeviceRegistration> LinuxDeviceTree::Register(PCM_NOTIFY_CALLBACK callback,
                                                              void* context) {
  const MutexLock lock(mutex_);
  auto monitor = monitor_.lock();
  if (monitor == nullptr) {
    const bool daemon = source_ == Source::kDaemon ||
                        (source_ == Source::kDetect && access(kDaemonSocket, F_OK) == 0);
    monitor = std::make_shared<Monitor>(daemon ? "udev" : "kernel", known_);
    if (!monitor->listens()) return nullptr;
    monitor_ = monitor;
  }
  auto registered = monitor->callbacks().Add(callback, context);
  return std::make_unique<Registration>(std::move(monitor), std::move(registered));
}

void LinuxDeviceTree::Enumerate(const Visitor& visit) {
  const UdevRef<udev> context(udev_new());
  if (context == nullptr) return;
  Scan(context.get(), [&](const char* path, PresentDevice present) {
    known_->Put(path, present.instance_id);
    visit(std::move(present));
  });
}

std::vector<WString> LinuxDeviceTree::HardwareIds(const WString& instance_id) {
  std::string path = known_->PathOf(instance_id);
  if (path.empty()) {
    Enumerate([](const PresentDevice&) {});
    path = known_->PathOf(instance_id);
  }
  if (path.empty()) return {};
  const UdevRef<udev> context(udev_new());
  if (context == nullptr) return {};
  const UdevRef<udev_device> device(udev_device_new_from_syspath(context.get(), path.c_str()));
  if (device == nullptr) return {};
  auto present = Describe(device.get());
  if (!present || present->instance_id != instance_id) return {};
  return std::move(present->hardware_ids);
}

}  // namespace yox::platform
