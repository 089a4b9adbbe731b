#include <string>

#include "yox/clientbase/FileSystem.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/PathText.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/policy/ProvisionFileUtility.h"

#include "fuzz/FuzzInput.h"

namespace {

class Utility : public ProvisionFileUtility {
 public:
  Utility() = default;
};

}  // namespace

// The content of a provision file; without any, there is no file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  const yox::WString path = yox::platform::ToText(device.files().folder() / "provision.json");
  if (size == 0) {
    FileSystem::deleteFile(path);
  } else {
    FileSystem::OpenToWrite(path, std::ios::out | std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  Utility utility;
  utility.ExtractProvisionContent(path);
  const Json::Value content = utility.GetProvisionContent();
  utility.PopulateProvisionInfo();
  // The fuzzer does not have the key that the library trusts.
  FUZZ_CHECK(!utility.GetProvisionInfo().isTokenValid);
  FUZZ_CHECK(utility.GetProvisionInfo().configPolicy.empty());
  FUZZ_CHECK(!utility.WhyTokenIsRefused().empty());
  FUZZ_CHECK(utility.GetProvisionContent() == content);
  return 0;
}
