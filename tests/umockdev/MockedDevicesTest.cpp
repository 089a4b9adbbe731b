#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <umockdev.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "yox/applicability/HardwareIdRepository.h"
#include "yox/applicability/PnPDeviceTracker.h"
#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/devices/DeviceTreeContract.h"
#include "yox/platform/devices/linux/LinuxAccelerators.h"
#include "yox/platform/devices/linux/LinuxDeviceTree.h"
#include "yox/platform/devices/linux/LinuxDisplayAdapters.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/PublishedData.h"
#include "tests/support/Rows.h"
#include "tests/support/SubstitutedPlatform.h"

namespace {

using namespace yox::literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using YOX::String;
using yox::WString;
using yox::platform::LinuxDeviceTree;
using yox::platform::PresentDevice;
using yox_test::HeardEvents;

constexpr auto kArrived = CM_NOTIFY_ACTION_DEVICEINSTANCEENUMERATED;
constexpr auto kRemoved = CM_NOTIFY_ACTION_DEVICEINSTANCEREMOVED;

// A machine that has what it is given, and nothing else.
class Testbed {
 public:
  using Pairs = std::vector<std::pair<std::string, std::string>>;

  Testbed() : testbed_(umockdev_testbed_new()) {}
  ~Testbed() { g_object_unref(testbed_); }
  Testbed(const Testbed&) = delete;
  Testbed& operator=(const Testbed&) = delete;

  // The device's path; there is no event for it.
  std::string Add(const char* subsystem, const char* name, const std::string& parent,
                  const Pairs& attributes, const Pairs& properties = {}) {
    const auto list = [](const Pairs& pairs) {
      std::vector<char*> texts;
      for (const auto& [key, value] : pairs) {
        texts.push_back(const_cast<char*>(key.c_str()));
        texts.push_back(const_cast<char*>(value.c_str()));
      }
      texts.push_back(nullptr);
      return texts;
    };
    char* const path = umockdev_testbed_add_devicev(
        testbed_, subsystem, name, parent.empty() ? nullptr : parent.c_str(),
        list(attributes).data(), list(properties).data());
    std::string added = path != nullptr ? path : "";
    g_free(path);
    return added;
  }
  void Load(const std::string& capture) {
    ASSERT_TRUE(umockdev_testbed_add_from_string(testbed_, capture.c_str(), nullptr));
  }
  void Tell(const std::string& path, const char* action) {
    umockdev_testbed_uevent(testbed_, path.c_str(), action);
  }
  void Remove(const std::string& path) { umockdev_testbed_remove_device(testbed_, path.c_str()); }
  // As the kernel links a class's device to its parent.
  void LinkDevice(const std::string& path, const std::string& device) {
    const std::string link = std::filesystem::path(device).lexically_relative(path).string();
    umockdev_testbed_set_attribute_link(testbed_, path.c_str(), "device", link.c_str());
  }
  // Where the machine's files stand.
  std::filesystem::path Root() const {
    char* const root = umockdev_testbed_get_root_dir(testbed_);
    std::filesystem::path path = root;
    g_free(root);
    return path;
  }
  void SetBinary(const std::string& path, const char* attribute, std::string bytes) {
    umockdev_testbed_set_attribute_binary(testbed_, path.c_str(), attribute,
                                          reinterpret_cast<guint8*>(bytes.data()),
                                          static_cast<gint>(bytes.size()));
  }

 private:
  UMockdevTestbed* testbed_;
};

// A security key as the bus shows it, plugged and unplugged as its hub would.
class Keys {
 public:
  explicit Keys(Testbed& testbed) : testbed_(testbed) {}

  static WString Instance(int place) {
    return "USB\\VID_1050&PID_0120\\1-"_w + static_cast<yox::WChar>('0' + place);
  }
  void Plug(int place) {
    const std::string name = "1-" + std::to_string(place);
    std::string& path = paths_[place];
    if (path.empty()) {
      path = testbed_.Add("usb", name.c_str(), "",
                          {{"idVendor", "1050"},
                           {"idProduct", "0120"},
                           {"bcdDevice", "0512"},
                           {"bDeviceClass", "00"},
                           {"bNumInterfaces", " 1"}},
                          {{"DEVTYPE", "usb_device"}});
    }
    testbed_.Tell(path, "add");
  }
  void Unplug(int place) {
    testbed_.Tell(paths_[place], "remove");
    testbed_.Remove(paths_[place]);
    paths_.erase(place);
  }

 private:
  Testbed& testbed_;
  std::map<int, std::string> paths_;
};

class MockedTree final : public yox_test::DeviceTreeUnderTest {
 public:
  yox::platform::DeviceTree& tree() override { return tree_; }
  void Plug(int place) override { keys_.Plug(place); }
  void Unplug(int place) override { keys_.Unplug(place); }

 private:
  Testbed testbed_;
  Keys keys_{testbed_};
  LinuxDeviceTree tree_{LinuxDeviceTree::Source::kDaemon};
};

const auto kMocked =
    testing::Values(yox_test::DeviceTreeRow{"Udev", [] { return std::make_unique<MockedTree>(); }});

}  // namespace

namespace yox_test {
namespace {
INSTANTIATE_TEST_SUITE_P(, DeviceTreeContract, kMocked, RowName());
INSTANTIATE_TEST_SUITE_P(, DeviceTreeEventsContract, kMocked, RowName());
}  // namespace
}  // namespace yox_test

namespace {

std::vector<PresentDevice> Present(LinuxDeviceTree& tree) {
  std::vector<PresentDevice> present;
  tree.Enumerate([&](PresentDevice device) { present.push_back(std::move(device)); });
  return present;
}

class MockedDevices : public testing::Test {
 protected:
  std::vector<PresentDevice> Present() { return ::Present(tree); }
  // The only device that is there.
  PresentDevice Single() {
    const auto present = Present();
    EXPECT_EQ(present.size(), 1U);
    return present.empty() ? PresentDevice() : present[0];
  }

  Testbed testbed;
  LinuxDeviceTree tree{LinuxDeviceTree::Source::kDaemon};
};

TEST_F(MockedDevices, ADeviceWithSeveralInterfacesHasEachAsAFunction) {
  const std::string device = testbed.Add("usb", "1-1", "",
                                         {{"idVendor", "046d"},
                                          {"idProduct", "c52b"},
                                          {"bcdDevice", "1211"},
                                          {"bDeviceClass", "00"},
                                          {"bNumInterfaces", " 2"}},
                                         {{"DEVTYPE", "usb_device"}});
  const std::string interface = testbed.Add("usb", "1-1:1.1", device, {{"bInterfaceNumber", "01"}},
                                            {{"DEVTYPE", "usb_interface"}});
  testbed.Add("hid", "0003:046D:C52B.0001", interface,
              {{"modalias", "hid:b0003g0001v0000046Dp0000C52B"}});
  EXPECT_THAT(Present(),
              UnorderedElementsAre(
                  PresentDevice{"USB\\VID_046D&PID_C52B\\1-1"_w,
                                {"USB\\VID_046D&PID_C52B&REV_1211"_w, "USB\\VID_046D&PID_C52B"_w}},
                  PresentDevice{"USB\\VID_046D&PID_C52B&MI_01\\1-1:1.1"_w,
                                {"USB\\VID_046D&PID_C52B&REV_1211&MI_01"_w,
                                 "USB\\VID_046D&PID_C52B&MI_01"_w}},
                  PresentDevice{"HID\\VID_046D&PID_C52B&MI_01\\0003:046D:C52B.0001"_w,
                                {"HID\\VID_046D&PID_C52B&REV_1211&MI_01"_w,
                                 "HID\\VID_046D&PID_C52B&MI_01"_w, "HID_DEVICE"_w}}));
}

TEST_F(MockedDevices, AnNvmeDriveIsAScsiDisk) {
  testbed.Add("nvme", "nvme0", "",
              {{"model", "Contoso NV7000 1TB      "}, {"firmware_rev", "4B2QEXM7"}});
  EXPECT_EQ(Single().hardware_ids[0], "SCSI\\DiskNVMe____Contoso_NV7000_14B2Q"_w);
  EXPECT_EQ(Single().instance_id, "SCSI\\DISK&VEN_NVME&PROD_CONTOSO_NV7000_1TB\\NVME0"_w);
}

TEST_F(MockedDevices, ADriveBehindUsbSaysSo) {
  const std::string stick = testbed.Add("usb", "1-1", "", {}, {{"DEVTYPE", "usb_device"}});
  testbed.Add(
      "scsi", "0:0:0:0", stick,
      {{"type", "0"}, {"vendor", "SanDisk "}, {"model", "Ultra           "}, {"rev", "1.00"}},
      {{"DEVTYPE", "scsi_device"}});
  EXPECT_EQ(Single().hardware_ids[0], "USBSTOR\\DiskSanDisk_Ultra___________1.00"_w);
}

TEST_F(MockedDevices, AFirmwareDeviceThatIsNotThereHasNoIds) {
  const auto add = [&](const char* name, const char* status) {
    testbed.Add("acpi", name, "", {{"modalias", "acpi:PNP0C0A:"}, {"status", status}});
  };
  add("PNP0C0A:00", "0");
  EXPECT_THAT(Present(), IsEmpty());
  add("PNP0C0A:01", "31");
  EXPECT_EQ(Single().instance_id, "ACPI\\PNP0C0A\\PNP0C0A:01"_w);
}

TEST_F(MockedDevices, AMonitorIsToldWhenItsAdapterReportsAChange) {
  const std::string card = testbed.Add("drm", "card0", "", {}, {{"DEVTYPE", "drm_minor"}});
  const std::string connector = testbed.Add("drm", "card0-DP-1", card, {});
  HeardEvents events(tree);
  ASSERT_TRUE(events.registered());
  ASSERT_THAT(Present(), IsEmpty());

  std::string edid("\0\xFF\xFF\xFF\xFF\xFF\xFF\0\x10\xAC\xA9\x40", 12);
  edid.resize(128, '\0');
  testbed.SetBinary(connector, "edid", edid);
  const std::string event = testbed.Add("drm", "card1", "", {}, {{"HOTPLUG", "1"}});
  testbed.Tell(event, "change");
  EXPECT_TRUE(events.Wait({kArrived, "DISPLAY\\DEL40A9\\CARD0-DP-1"_w}));
  testbed.SetBinary(connector, "edid", "");
  testbed.Tell(event, "change");
  EXPECT_TRUE(events.Wait({kRemoved, "DISPLAY\\DEL40A9\\CARD0-DP-1"_w}));
}

TEST_F(MockedDevices, AdaptersAndAcceleratorsAreThoseOfTheirPciDevices) {
  const auto add = [&](const char* name, const char* device, const char* place, const char* id) {
    const std::string behind =
        testbed.Add("pci", place, "", {{"vendor", "0x10de"}, {"device", id}});
    testbed.LinkDevice(testbed.Add(device, name, behind, {}), behind);
  };
  add("card0", "drm", "0000:01:00.0", "0x2684");
  add("accel0", "accel", "0000:02:00.0", "0x1234");

  yox::platform::LinuxDisplayAdapters adapters(testbed.Root());
  const auto cards = adapters.Enumerate();
  ASSERT_TRUE(cards.has_value());
  ASSERT_EQ(cards->size(), 1U);
  EXPECT_EQ((*cards)[0].description, "NVIDIA 10de:2684"_w);
  EXPECT_FALSE((*cards)[0].software);

  yox::platform::LinuxAccelerators accelerators(testbed.Root());
  const auto units = accelerators.Enumerate();
  ASSERT_TRUE(units.has_value());
  ASSERT_EQ(units->size(), 1U);
  EXPECT_EQ((*units)[0].manufacturer, "NVIDIA"_w);
  EXPECT_EQ((*units)[0].description, "10de:1234"_w);
}

// --- the tracker over the kernel's devices

class MockedTracker : public MockedDevices {
 protected:
  // Runs after the event of the tracker, which registers first.
  void Start() {
    ASSERT_TRUE(tracker.Start());
    events.emplace(tree);
  }
  void Plug(int place) {
    keys.Plug(place);
    ASSERT_TRUE(events->Wait({kArrived, Keys::Instance(place)}));
  }
  void Unplug(int place) {
    keys.Unplug(place);
    ASSERT_TRUE(events->Wait({kRemoved, Keys::Instance(place)}));
  }

  Keys keys{testbed};
  HardwareIdRepository repository;
  PnPDeviceTracker tracker{repository, tree};
  std::optional<HeardEvents> events;
};

TEST_F(MockedTracker, SeedsAndFollows) {
  keys.Plug(1);
  Start();
  EXPECT_THAT(repository.Snapshot(), UnorderedElementsAre("USB\\VID_1050&PID_0120"_w,
                                                          "USB\\VID_1050&PID_0120&REV_0512"_w));
  Unplug(1);
  EXPECT_EQ(repository.Size(), 0U);
  Plug(2);
  EXPECT_EQ(repository.Size(), 2U);
}

TEST_F(MockedTracker, AnIdOfTwoInstancesStaysUntilBothHaveGone) {
  Start();
  Plug(1);
  Plug(2);
  Unplug(1);
  EXPECT_TRUE(repository.Contains("USB\\VID_1050&PID_0120"_w));
  Unplug(2);
  EXPECT_FALSE(repository.Contains("USB\\VID_1050&PID_0120"_w));
}

TEST_F(MockedTracker, ASecondArrivalOfAKnownInstanceCountsNothing) {
  Start();
  Plug(1);
  Plug(1);
  Unplug(1);
  EXPECT_EQ(repository.Size(), 0U);
}

TEST_F(MockedTracker, ADeviceWithoutNumbersEntersNothing) {
  Start();
  testbed.Tell(testbed.Add("usb", "1-3", "", {}, {{"DEVTYPE", "usb_device"}}), "add");
  testbed.Tell(testbed.Add("net", "eth0", "", {{"idVendor", "1050"}, {"idProduct", "0120"}}),
               "add");
  Plug(1);  // after them in the queue
  EXPECT_EQ(repository.Size(), 2U);
}

TEST_F(MockedTracker, ASecondStartSeedsNothing) {
  keys.Plug(1);
  Start();
  EXPECT_TRUE(tracker.Start());
  Unplug(1);
  EXPECT_EQ(repository.Size(), 0U);
}

TEST_F(MockedTracker, StopKeepsWhatWasSeen) {
  Start();
  Plug(1);
  tracker.Stop();
  Unplug(1);
  EXPECT_TRUE(repository.Contains("USB\\VID_1050&PID_0120"_w));
}

TEST_F(MockedTracker, TheCriterionFollowsTheLiveSet) {
  yox::platform::SimulatedDevice rest;
  yox_test::SubstitutedPlatform platform(rest);
  // The evaluator's tracker asks it until the process ends.
  static LinuxDeviceTree lasting(LinuxDeviceTree::Source::kDaemon);
  platform.Set(static_cast<yox::platform::DeviceTree&>(lasting));
  const yox::platform::ScopedPlatform installed(platform);
  yox_test::TestEvaluator evaluator;
  EXPECT_FALSE(evaluator.EvaluateHardwareIdFilter("usb/vid_1050*"_w));

  HeardEvents behind(lasting);
  keys.Plug(1);
  ASSERT_TRUE(behind.Wait({kArrived, Keys::Instance(1)}));
  EXPECT_TRUE(evaluator.EvaluateHardwareIdFilter("usb/vid_1050*"_w));
  EXPECT_TRUE(evaluator.EvaluateHardwareIdFilter(" usb/vid_1050&pid_0120 , pci/never"_w));
  EXPECT_FALSE(evaluator.EvaluateHardwareIdFilter("pci/*"_w));
  keys.Unplug(1);
  ASSERT_TRUE(behind.Wait({kRemoved, Keys::Instance(1)}));
  EXPECT_FALSE(evaluator.EvaluateHardwareIdFilter("usb/vid_1050*"_w));
}

// --- captured machines

struct CaptureCase {
  const char* name;
  const char* file;
  std::vector<WString> instances;
};

class Capture : public testing::TestWithParam<CaptureCase> {
 protected:
  Capture() { testbed.Load(yox_test::PublishedData(std::string("umockdev/") + GetParam().file)); }

  Testbed testbed;
  LinuxDeviceTree tree{LinuxDeviceTree::Source::kDaemon};
};

TEST_P(Capture, IsNamedInWindowsForm) {
  std::vector<WString> instances;
  for (const PresentDevice& device : Present(tree)) instances.push_back(device.instance_id);
  EXPECT_THAT(instances, testing::UnorderedElementsAreArray(GetParam().instances));
}

std::string OutputOf(const char* command) {
  std::string output;
  FILE* const pipe = popen(command, "r");
  if (pipe == nullptr) return output;
  char buffer[4096];
  for (std::size_t size; (size = fread(buffer, 1, sizeof(buffer), pipe)) > 0;) {
    output.append(buffer, size);
  }
  pclose(pipe);
  return output;
}

std::set<std::string> Found(const std::string& text, const std::regex& pattern,
                            const std::string& form) {
  std::set<std::string> found;
  for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
    found.insert(String::UTF16ToUTF8(String::ToUpper(String::UTF8ToUTF16(match->format(form)))));
  }
  return found;
}

// The IDs of one bus that have a given form.
std::set<std::string> Ids(LinuxDeviceTree& tree, const std::regex& form) {
  std::set<std::string> ids;
  for (const PresentDevice& device : Present(tree)) {
    for (const WString& id : device.hardware_ids) {
      if (const std::string text = String::UTF16ToUTF8(id); std::regex_match(text, form)) {
        ids.insert(text);
      }
    }
  }
  return ids;
}

TEST_P(Capture, AgreesWithLspci) {
  const std::string output = OutputOf("lspci -A linux-sysfs -nn 2>/dev/null");
  // "05:00.3 USB controller [0c03]: ... [1022:15e0] (rev 21)"
  EXPECT_EQ(Ids(tree, std::regex(R"(PCI\\VEN_....&DEV_....&CC_....)")),
            Found(output, std::regex(R"(\[(\w{4})\]: [^\n]*\[(\w{4}):(\w{4})\])"),
                  "PCI\\VEN_$2&DEV_$3&CC_$1"));
  const auto revisions = Found(output, std::regex(R"(\[(\w{4}):(\w{4})\] \(rev (\w\w)\))"),
                               "PCI\\VEN_$1&DEV_$2&REV_$3");
  const auto ours = Ids(tree, std::regex(R"(PCI\\VEN_....&DEV_....&REV_..)"));
  EXPECT_TRUE(std::ranges::includes(ours, revisions)) << output;
}

TEST_P(Capture, AgreesWithLsusb) {
  EXPECT_EQ(Ids(tree, std::regex(R"(USB\\VID_....&PID_....)")),
            Found(OutputOf("lsusb"), std::regex(R"(ID (\w{4}):(\w{4}))"), "USB\\VID_$1&PID_$2"));
}

INSTANTIATE_TEST_SUITE_P(
    , Capture,
    testing::Values(CaptureCase{"FingerprintReader",
                                "elanfingerprint.umockdev",
                                {"PCI\\VEN_8086&DEV_9D29&SUBSYS_1D2D1043&REV_21\\0000:00:1E.2"_w,
                                 "ACPI\\ELAN7001\\SPI-ELAN7001:00"_w}},
                    CaptureCase{"SecurityKey",
                                "fido2.umockdev",
                                {"PCI\\VEN_1022&DEV_15DB&SUBSYS_00001022&REV_00\\0000:00:08.1"_w,
                                 "PCI\\VEN_1022&DEV_15E0&SUBSYS_79141849&REV_00\\0000:05:00.3"_w,
                                 "USB\\VID_1D6B&PID_0002\\USB1"_w, "USB\\VID_0BDA&PID_5411\\1-2"_w,
                                 "USB\\VID_1050&PID_0120\\1-2.3"_w,
                                 "HID\\VID_1050&PID_0120\\0003:1050:0120.000A"_w}},
                    CaptureCase{
                        "Touchpad", "synaptics-touchpad.umockdev", {"ACPI\\LEN0020\\SERIO1"_w}}),
    yox_test::RowName());

}  // namespace
