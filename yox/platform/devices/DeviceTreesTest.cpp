#include "yox/platform/Platform.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/devices/DeviceTreeContract.h"
#include "yox/platform/simulated/SimulatedDeviceTree.h"

#include "tests/support/Rows.h"

namespace yox_test {
namespace {

using namespace yox::literals;
using yox::platform::PresentDevice;

class SimulatedTree final : public DeviceTreeUnderTest {
 public:
  explicit SimulatedTree(const std::vector<PresentDevice>& devices = {}) {
    for (const PresentDevice& device : devices) tree_.Plug(device);
  }

  yox::platform::DeviceTree& tree() override { return tree_; }
  void Plug(int place) override {
    tree_.Plug({Name(place), {"USB\\VID_1050&PID_0120&REV_0512"_w, "USB\\VID_1050&PID_0120"_w}});
  }
  void Unplug(int place) override { tree_.Unplug(Name(place)); }

 private:
  static yox::WString Name(int place) {
    return "USB\\VID_1050&PID_0120\\1-"_w + static_cast<yox::WChar>('0' + place);
  }

  yox::platform::SimulatedDeviceTree tree_;
};

class NativeTree final : public DeviceTreeUnderTest {
 public:
  yox::platform::DeviceTree& tree() override {
    return yox::platform::Platform::Native().device_tree();
  }
};

std::unique_ptr<DeviceTreeUnderTest> Filled() {
  return std::make_unique<SimulatedTree>(
      std::vector<PresentDevice>{{"PCI\\A\\1"_w, {"PCI\\A&REV_1"_w, "PCI\\A"_w}},
                                 {"PCI\\A\\2"_w, {"PCI\\A"_w}},
                                 {"HID\\B"_w, {"HID\\B"_w}}});
}

INSTANTIATE_TEST_SUITE_P(
    , DeviceTreeContract,
    testing::Values(DeviceTreeRow{"Native", [] { return std::make_unique<NativeTree>(); }},
                    DeviceTreeRow{"EmptySimulated",
                                  [] { return std::make_unique<SimulatedTree>(); }},
                    DeviceTreeRow{"FilledSimulated", Filled}),
    RowName());
INSTANTIATE_TEST_SUITE_P(, DeviceTreeEventsContract,
                         testing::Values(DeviceTreeRow{
                             "Simulated", [] { return std::make_unique<SimulatedTree>(); }}),
                         RowName());

}  // namespace
}  // namespace yox_test
