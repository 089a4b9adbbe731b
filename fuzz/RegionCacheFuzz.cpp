#include <fstream>

#include "yox/device/RegionInformation.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "fuzz/FuzzInput.h"

namespace {

// A device without a user, so that every refresh reads the file.
struct Device {
  yox::platform::SimulatedDevice device;
  yox::platform::ScopedPlatform installed{device};
  std::filesystem::path file = device.files().Locate(*device.files().ApplicationDataRoot()) /
                               "Shared" / "RegionInformationCached.json";

  Device() { std::filesystem::create_directories(file.parent_path()); }
};

}  // namespace

// The text of the region's cache file: what it contains, and nothing of the device, becomes the
// region.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Device& device = *new Device;
  std::ofstream(device.file, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  RegionInformation* const region = RegionInformation::GetInstance();
  region->ReInitialize();
  const yox::WString country = region->country_code();
  region->ReInitialize();
  FUZZ_CHECK(region->country_code() == country);
  return 0;
}
