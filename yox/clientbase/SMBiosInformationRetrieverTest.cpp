#include <gtest/gtest.h>

#include <thread>

#include "yox/clientbase/SMBiosInformationRetriever.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

namespace {

using namespace yox::literals;
using yox::WString;
using yox::platform::DeviceProfile;
using yox::platform::ReadDeviceProfile;
using yox::platform::SimulatedDevice;

TEST(SMBiosInformationRetrieverTest, TablesThatWereMissingAreFoundByReadingAgain) {
  SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  EXPECT_EQ(SMBiosInformationRetriever::GetInstance(), nullptr);
  device.Change([](DeviceProfile& profile) { profile.firmware.emplace().sku = "F14"_w; });
  SMBiosInformationRetriever::ReInitialize();
  ASSERT_NE(SMBiosInformationRetriever::GetInstance(), nullptr);
  EXPECT_EQ(SMBiosInformationRetriever::GetInstance()->GetSKU(), "F14"_w);
}

// The texts are long enough that each takes memory of its own.
TEST(SMBiosInformationRetrieverTest, ATextIsReadWholeWhileTheTablesAreReadAgain) {
  const WString one(200, yox::WChar{'1'});
  const WString two(300, yox::WChar{'2'});
  SimulatedDevice device(ReadDeviceProfile(R"({"firmware": {}})"));
  const yox::platform::ScopedPlatform installed(device);
  const auto reread = [&](const WString& sku) {
    device.Change([&](DeviceProfile& profile) { profile.firmware->sku = sku; });
    SMBiosInformationRetriever::ReInitialize();
  };
  reread(one);
  std::thread refresh([&] {
    for (int i = 0; i < 2'000; ++i) reread(i % 2 == 0 ? two : one);
  });
  for (int i = 0; i < 20'000; ++i) {
    const WString sku = SMBiosInformationRetriever::GetInstance()->GetSKU();
    if (sku != one && sku != two) ADD_FAILURE() << "a torn text of " << sku.size() << " units";
  }
  refresh.join();
}

}  // namespace
