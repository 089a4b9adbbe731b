#include <gtest/gtest.h>

#include <atomic>
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
  const WString one(20'000, yox::WChar{'1'});
  const WString two(30'000, yox::WChar{'2'});
  SimulatedDevice device(ReadDeviceProfile(R"({"firmware": {}})"));
  const yox::platform::ScopedPlatform installed(device);
  const auto reread = [&](const WString& sku) {
    device.Change([&](DeviceProfile& profile) { profile.firmware->sku = sku; });
    SMBiosInformationRetriever::ReInitialize();
  };
  reread(one);
  std::atomic<bool> done{false};
  std::thread refresh([&] {
    for (int i = 0; i < 4'000; ++i) reread(i % 2 == 0 ? two : one);
    done = true;
  });
  std::size_t torn = 0;
  while (!done) {
    const WString sku = SMBiosInformationRetriever::GetInstance()->GetSKU();
    torn += sku != one && sku != two;
  }
  refresh.join();
  EXPECT_EQ(torn, 0U);
}

}  // namespace
