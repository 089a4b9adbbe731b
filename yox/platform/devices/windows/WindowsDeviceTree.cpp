#include "yox/platform/devices/windows/WindowsDeviceTree.h"

// After windows.h.
#include <setupapi.h>

#include <string>
#include <utility>

#include "yox/platform/devices/DeviceCallbacks.h"
#include "yox/platform/registry/MultiString.h"

namespace yox::platform {
namespace {

static_assert(sizeof(CM_NOTIFY_FILTER) == 416);
static_assert(CM_NOTIFY_FILTER_FLAG_ALL_DEVICE_INSTANCES == 2);
static_assert(sizeof(SP_DEVINFO_DATA) == 32);
static_assert(kMultiStringType == REG_MULTI_SZ);

class DeviceList {
 public:
  explicit DeviceList(DWORD flags)
      : list_(SetupDiGetClassDevsW(nullptr, nullptr, nullptr, flags)) {}
  ~DeviceList() {
    if (valid()) SetupDiDestroyDeviceInfoList(list_);
  }
  DeviceList(const DeviceList&) = delete;
  DeviceList& operator=(const DeviceList&) = delete;

  bool valid() const { return list_ != INVALID_HANDLE_VALUE; }
  HDEVINFO get() const { return list_; }

 private:
  HDEVINFO list_;
};

SP_DEVINFO_DATA EmptyDevice() {
  SP_DEVINFO_DATA device{};
  device.cbSize = sizeof(device);
  return device;
}

std::vector<WString> ReadHardwareIds(const DeviceList& list, SP_DEVINFO_DATA& device) {
  DWORD type = 0;
  DWORD size = 0;
  SetLastError(ERROR_SUCCESS);
  SetupDiGetDeviceRegistryPropertyW(list.get(), &device, SPDRP_HARDWAREID, &type, nullptr, 0,
                                    &size);
  if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || size == 0 || type != REG_MULTI_SZ) return {};
  std::string bytes(size / sizeof(WChar) * sizeof(WChar), '\0');
  if (!SetupDiGetDeviceRegistryPropertyW(list.get(), &device, SPDRP_HARDWAREID, &type,
                                         reinterpret_cast<BYTE*>(bytes.data()),
                                         static_cast<DWORD>(bytes.size()), nullptr)) {
    return {};
  }
  return ReadMultiString(type, bytes);
}

WString GetInstanceId(const DeviceList& list, SP_DEVINFO_DATA& device) {
  DWORD units = 0;
  SetLastError(ERROR_SUCCESS);
  SetupDiGetDeviceInstanceIdW(list.get(), &device, nullptr, 0, &units);
  if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || units == 0) return {};
  WString text(units, WChar{});
  if (!SetupDiGetDeviceInstanceIdW(list.get(), &device, text.data(), units, nullptr)) return {};
  if (text.back() == WChar{}) text.pop_back();
  return text;
}

// Found at run time, because not every Configuration Manager has them (Wine 8 does not).
WindowsDeviceTree::Notifications SystemNotifications() {
  WindowsDeviceTree::Notifications functions;
  const HMODULE library = LoadLibraryExW(L"cfgmgr32.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (library == nullptr) return functions;
  const auto find = [library](const char* name, auto& function) {
    function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
        reinterpret_cast<void*>(GetProcAddress(library, name)));
  };
  find("CM_Register_Notification", functions.enrol);
  find("CM_Unregister_Notification", functions.withdraw);
  return functions;
}

// The system's context is the registration itself, so that exceptions end here: the system's own
// frames between its thread and the callback cannot be unwound.
class Registration final : public DeviceRegistration {
 public:
  Registration(const WindowsDeviceTree::Notifications& functions, PCM_NOTIFY_CALLBACK callback,
               void* context)
      : functions_(functions), callback_(callback), context_(context) {}
  // Waits for callbacks that run (CM_Unregister_Notification).
  ~Registration() override {
    if (notification_ != nullptr) functions_.withdraw(notification_);
  }
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;

  bool Enrol() {
    CM_NOTIFY_FILTER filter{};
    filter.cbSize = sizeof(filter);
    filter.Flags = CM_NOTIFY_FILTER_FLAG_ALL_DEVICE_INSTANCES;
    filter.FilterType = CM_NOTIFY_FILTER_TYPE_DEVICEINSTANCE;
    return functions_.enrol(&filter, this, OnEvent, &notification_) == CR_SUCCESS &&
           notification_ != nullptr;
  }

 private:
  static DWORD CALLBACK OnEvent(HCMNOTIFICATION /*notification*/, void* context,
                                CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data, DWORD size) {
    const auto* const self = static_cast<const Registration*>(context);
    RunDeviceCallback(self->callback_, self->context_, action, data, size);
    return ERROR_SUCCESS;
  }

  const WindowsDeviceTree::Notifications functions_;
  const PCM_NOTIFY_CALLBACK callback_;
  void* const context_;
  HCMNOTIFICATION notification_ = nullptr;
};

}  // namespace

WindowsDeviceTree::WindowsDeviceTree() : WindowsDeviceTree(SystemNotifications()) {}

std::unique_ptr<DeviceRegistration> WindowsDeviceTree::Register(PCM_NOTIFY_CALLBACK callback,
                                                                void* context) {
  if (notifications_.enrol == nullptr || notifications_.withdraw == nullptr) return nullptr;
  auto registration = std::make_unique<Registration>(notifications_, callback, context);
  if (!registration->Enrol()) return nullptr;
  return registration;
}

void WindowsDeviceTree::Enumerate(const Visitor& visit) {
  const DeviceList list(DIGCF_PRESENT | DIGCF_ALLCLASSES);
  if (!list.valid()) return;
  SP_DEVINFO_DATA device = EmptyDevice();
  for (DWORD index = 0; SetupDiEnumDeviceInfo(list.get(), index, &device); ++index) {
    std::vector<WString> ids = ReadHardwareIds(list, device);
    if (ids.empty()) continue;
    WString instance_id = GetInstanceId(list, device);
    if (!instance_id.empty()) visit({std::move(instance_id), std::move(ids)});
  }
}

std::vector<WString> WindowsDeviceTree::HardwareIds(const WString& instance_id) {
  const DeviceList list(DIGCF_ALLCLASSES);
  if (!list.valid()) return {};
  SP_DEVINFO_DATA device = EmptyDevice();
  if (!SetupDiOpenDeviceInfoW(list.get(), instance_id.c_str(), nullptr, 0, &device)) return {};
  return ReadHardwareIds(list, device);
}

}  // namespace yox::platform
