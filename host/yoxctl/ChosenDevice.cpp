#include "host/yoxctl/ChosenDevice.h"

#include <filesystem>
#include <functional>
#include <set>
#include <string_view>
#include <system_error>

#include "yox/platform/Platform.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/simulated/DeviceProfileReader.h"

namespace yoxctl {

namespace {

std::filesystem::path StateFolder(const std::string& argument) {
  Widened("--state-dir", argument);  // the library keeps it as UTF-16
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::absolute(PathOf(argument), error);
  std::error_code ignored;
  if (std::filesystem::create_directories(folder, error)) {
    // For this account alone, whatever the umask.
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all, ignored);
  }
  if (std::filesystem::is_directory(folder, ignored)) return folder;
  if (!argument.empty() && !std::filesystem::exists(folder, ignored)) {
    throw Refusal(NameOf(argument) + ": cannot be made: " + error.message());
  }
  throw Refusal(NameOf(argument) + ": is not a directory");
}

}  // namespace

ChosenDevice::ChosenDevice(const GlobalOptions& options) {
  Install(options);
  // Each line once: every value that is read fails for the same reason.
  yox::platform::Platform::Get().registry().OnFailure(
      [printed = std::set<std::string, std::less<>>()](std::string_view text) mutable {
        if (printed.emplace(text).second) Complain(text);
      });
}

ChosenDevice::~ChosenDevice() { yox::platform::Platform::Get().registry().OnFailure({}); }

void ChosenDevice::Install(const GlobalOptions& options) {
  std::filesystem::path folder;
  if (options.state_dir) folder = StateFolder(*options.state_dir);
  if (options.device) {
    // Empty: the cryptography takes no settings from this machine.
    SetVariable("OPENSSL_CONF", "");
    simulated_.emplace(ReadNamed(*options.device, yox::platform::ReadDeviceProfile), folder);
    installed_.emplace(*simulated_);
  } else if (options.state_dir) {
    // The machine's files look for their place when they are first asked.
    SetVariable("YOX_STATE_DIR", PathText(folder));
  }
}

}  // namespace yoxctl
