#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>

#include "yox/base/String.h"
#include "yox/platform/devices/DeviceTreeContract.h"
#include "yox/platform/devices/linux/LinuxDeviceTree.h"

#include "tests/support/CapturedLog.h"

namespace {

using YOX::String;
using yox::WString;
using yox::platform::LinuxDeviceTree;
using yox::platform::PresentDevice;
using yox_test::HeardEvents;

struct RealDevice {
  std::filesystem::path uevent;
  WString instance_id;
};

// A device of this machine whose events can be asked of the kernel: as root, with sysfs writable.
std::optional<RealDevice> Provoked(LinuxDeviceTree& tree) {
  std::optional<RealDevice> found;
  tree.Enumerate([&](const PresentDevice& device) {
    const std::string instance = String::UTF16ToUTF8(device.instance_id);
    const std::string name = instance.substr(instance.rfind('\\') + 1);
    for (const char* const bus : {"acpi", "pci"}) {
      std::error_code error;
      for (const auto& entry : std::filesystem::directory_iterator(
               std::string("/sys/bus/") + bus + "/devices", error)) {
        const std::string other = entry.path().filename().string();
        if (found || String::UTF16ToUTF8(String::ToUpper(String::UTF8ToUTF16(other))) != name) {
          continue;
        }
        if (std::ofstream(entry.path() / "uevent") << "change") {
          found = {entry.path() / "uevent", device.instance_id};
        }
      }
    }
  });
  return found;
}

// Makes every further thread impossible: none has room for such a stack.
bool ForbidThreads() {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  constexpr std::size_t kStack = std::size_t{1} << 46;
  const bool set = pthread_attr_setstacksize(&attributes, kStack) == 0 &&
                   pthread_setattr_default_np(&attributes) == 0;
  pthread_attr_destroy(&attributes);
  return set;
}

TEST(LinuxDeviceTreeTest, WithoutAThreadThereIsNoRegistrationAndSignalsStayAsTheyWere) {
  ASSERT_TRUE(ForbidThreads());
  sigset_t before, after;
  ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &before), 0);
  const yox_test::CapturedLog log;
  LinuxDeviceTree tree(LinuxDeviceTree::Source::kKernel);
  EXPECT_FALSE(HeardEvents(tree).registered());
  EXPECT_NE(log.Text().find("no thread for device events"), std::string::npos) << log.Text();
  ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &after), 0);
  for (const int signal : {SIGTERM, SIGINT, SIGUSR1}) {
    EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
  }
}

TEST(LinuxDeviceTreeTest, TheKernelsOwnEventsAreTold) {
  LinuxDeviceTree tree(LinuxDeviceTree::Source::kKernel);
  const auto device = Provoked(tree);
  if (!device) GTEST_SKIP() << "no device's uevent file can be written here (needs root)";
  HeardEvents events(tree);
  ASSERT_TRUE(events.registered());
  std::ofstream(device->uevent) << "add";
  EXPECT_TRUE(events.Wait({CM_NOTIFY_ACTION_DEVICEINSTANCEENUMERATED, device->instance_id}));
  std::ofstream(device->uevent) << "remove";
  EXPECT_TRUE(events.Wait({CM_NOTIFY_ACTION_DEVICEINSTANCEREMOVED, device->instance_id}));
}

}  // namespace
