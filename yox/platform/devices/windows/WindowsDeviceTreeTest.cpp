#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "yox/platform/devices/windows/WindowsDeviceTree.h"

// After windows.h.
#include <setupapi.h>

#include "yox/platform/devices/DeviceTreeContract.h"
#include "yox/platform/registry/MultiString.h"

#include "tests/support/CapturedLog.h"

namespace {

using namespace yox::literals;
using testing::ElementsAre;
using yox::WString;
using yox::platform::PresentDevice;
using yox::platform::WindowsDeviceTree;
using yox_test::HeardEvents;

// In place of the Configuration Manager's functions.
struct Manager {
  static inline CM_NOTIFY_FILTER filter;
  static inline void* context;
  static inline PCM_NOTIFY_CALLBACK callback;
  static inline CONFIGRET result = CR_SUCCESS;
  static inline HCMNOTIFICATION given = nullptr;
  static inline int withdrawn = 0;

  static CONFIGRET WINAPI Enrol(CM_NOTIFY_FILTER* wanted, void* with, PCM_NOTIFY_CALLBACK function,
                                HCMNOTIFICATION* notification) {
    filter = *wanted;
    context = with;
    callback = function;
    *notification = given;
    return result;
  }
  static CONFIGRET WINAPI Withdraw(HCMNOTIFICATION notification) {
    withdrawn += notification == given ? 1 : 100;
    return CR_SUCCESS;
  }
};

DWORD Ignored(HCMNOTIFICATION, void*, CM_NOTIFY_ACTION, PCM_NOTIFY_EVENT_DATA, DWORD) { return 0; }

DWORD CountAndThrow(HCMNOTIFICATION, void* context, CM_NOTIFY_ACTION, PCM_NOTIFY_EVENT_DATA,
                    DWORD) {
  ++*static_cast<int*>(context);
  throw 7;
}

const auto kHandle = reinterpret_cast<HCMNOTIFICATION>(0x10);

TEST(WindowsDeviceTreeTest, RegistersForTheEventsOfEveryInstance) {
  Manager::given = kHandle;
  WindowsDeviceTree tree({Manager::Enrol, Manager::Withdraw});
  int context = 0;
  {
    const auto registration = tree.Register(Ignored, &context);
    ASSERT_NE(registration, nullptr);
    EXPECT_EQ(Manager::filter.cbSize, 416U);
    EXPECT_EQ(Manager::filter.Flags, 2U);
    EXPECT_EQ(Manager::filter.FilterType, 2);
    EXPECT_EQ(Manager::filter.Reserved, 0U);
    for (const wchar_t unit : Manager::filter.u.DeviceInstance.InstanceId) EXPECT_EQ(unit, 0);
    EXPECT_EQ(Manager::withdrawn, 0);
  }
  EXPECT_EQ(Manager::withdrawn, 1);
}

TEST(WindowsDeviceTreeTest, EventsOfTheSystemReachTheCallbackAndItsExceptionsGoNoFurther) {
  Manager::given = kHandle;
  WindowsDeviceTree tree({Manager::Enrol, Manager::Withdraw});
  yox::platform::DeviceEvent event("ROOT\\YOXTEST\\0000"_wv);
  const auto send = [&] {
    return Manager::callback(kHandle, Manager::context, CM_NOTIFY_ACTION_DEVICEINSTANCEENUMERATED,
                             event.data(), event.size());
  };
  HeardEvents events(tree);
  EXPECT_EQ(send(), 0U);
  EXPECT_TRUE(events.Wait({CM_NOTIFY_ACTION_DEVICEINSTANCEENUMERATED, "ROOT\\YOXTEST\\0000"_w}));
  int calls = 0;
  const auto registration = tree.Register(CountAndThrow, &calls);
  const yox_test::CapturedLog log;
  EXPECT_EQ(send(), 0U);
  EXPECT_EQ(calls, 1);
  EXPECT_NE(log.Text().find("a callback threw"), std::string::npos);
}

TEST(WindowsDeviceTreeTest, ARefusedRegistrationIsNone) {
  Manager::result = CR_FAILURE;
  WindowsDeviceTree tree({Manager::Enrol, Manager::Withdraw});
  EXPECT_EQ(tree.Register(Ignored, nullptr), nullptr);
  EXPECT_EQ(Manager::withdrawn, 0);
  // One that came with a handle all the same is withdrawn.
  Manager::given = kHandle;
  EXPECT_EQ(tree.Register(Ignored, nullptr), nullptr);
  EXPECT_EQ(Manager::withdrawn, 1);
}

TEST(WindowsDeviceTreeTest, WithoutTheFunctionsThereIsNoRegistration) {
  WindowsDeviceTree tree(WindowsDeviceTree::Notifications{});
  EXPECT_EQ(tree.Register(Ignored, nullptr), nullptr);
}

// A device below ROOT for the length of a test; needs an administrator's rights.
class RootDevice {
 public:
  explicit RootDevice(const std::vector<WString>& hardware_ids) {
    const GUID system{0x4D36E97D, 0xE325, 0x11CE, {0xBF, 0xC1, 8, 0, 0x2B, 0xE1, 3, 0x18}};
    list_ = SetupDiCreateDeviceInfoList(&system, nullptr);
    device_.cbSize = sizeof(device_);
    if (list_ == INVALID_HANDLE_VALUE) return;
    if (!SetupDiCreateDeviceInfoW(list_, L"YOXTEST", &system, nullptr, nullptr, DICD_GENERATE_ID,
                                  &device_)) {
      return;
    }
    const std::string bytes = yox::platform::WriteMultiString(hardware_ids);
    made_ = SetupDiSetDeviceRegistryPropertyW(list_, &device_, SPDRP_HARDWAREID,
                                              reinterpret_cast<const BYTE*>(bytes.data()),
                                              static_cast<DWORD>(bytes.size())) &&
            SetupDiRegisterDeviceInfo(list_, &device_, 0, nullptr, nullptr, nullptr);
    wchar_t name[MAX_DEVICE_ID_LEN] = {};
    SetupDiGetDeviceInstanceIdW(list_, &device_, name, MAX_DEVICE_ID_LEN, nullptr);
    instance_id_ = name;
  }
  ~RootDevice() {
    if (made_) SetupDiCallClassInstaller(DIF_REMOVE, list_, &device_);
    if (list_ != INVALID_HANDLE_VALUE) SetupDiDestroyDeviceInfoList(list_);
  }
  RootDevice(const RootDevice&) = delete;
  RootDevice& operator=(const RootDevice&) = delete;

  bool made() const { return made_; }
  const WString& instance_id() const { return instance_id_; }

 private:
  HDEVINFO list_ = INVALID_HANDLE_VALUE;
  SP_DEVINFO_DATA device_{};
  bool made_ = false;
  WString instance_id_;
};

TEST(WindowsDeviceTreeTest, ADeviceIsReadByItsInstanceIdWithItsIdsInOrder) {
  const RootDevice device({"root\\YoxTest&Rev_2"_w, "ROOT\\YOXTEST"_w});
  if (!device.made()) GTEST_SKIP() << "no device can be made here (needs an administrator)";
  WindowsDeviceTree tree;
  EXPECT_THAT(tree.HardwareIds(device.instance_id()),
              ElementsAre("root\\YoxTest&Rev_2"_w, "ROOT\\YOXTEST"_w));
}

}  // namespace
