#include "host/yoxctl/ChosenDevice.h"

#include <filesystem>
#include <system_error>

#include "yox/clientbase/String.h"
#include "yox/clientbase/platform/simulated/DeviceProfileReader.h"

namespace yoxctl {

ChosenDevice::ChosenDevice(const GlobalOptions& options) {
  if (options.state_dir) {
    // The platform's files look for their place when they are first asked.
    const std::filesystem::path directory = std::filesystem::absolute(PathOf(*options.state_dir));
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (!std::filesystem::is_directory(directory, error)) {
      throw Refusal(NameOf(*options.state_dir) + ": is not a directory");
    }
    const std::u8string text = directory.u8string();
    SetVariable("YOX_STATE_DIR", std::string(text.begin(), text.end()));
  }
  if (!options.device) return;
  simulated_.emplace(ReadNamed(*options.device, YOX::platform::ReadDeviceProfile));
  installed_.emplace(*simulated_);
}

YOX::WString ChosenDevice::ClientVersion() const {
  if (simulated_) return simulated_->profile().client.version;
  return YOX::String::UTF8ToUTF16(YOXCTL_VERSION);
}

}  // namespace yoxctl
