#include "host/yoxctl/ChosenDevice.h"

#include <filesystem>
#include <functional>
#include <set>
#include <string_view>
#include <system_error>

#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
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

// The device of a profile, at another moment if there is one.
yox::platform::DeviceProfile ProfileAt(const std::string& text,
                                       const std::optional<std::string>& now) {
  yox::platform::DeviceProfile profile = yox::platform::ReadDeviceProfile(text);
  if (!now) return profile;
  Json::Value document = yox::ParseDocument(text);
  document["clock"]["now"] = ClockTextOf(*now);
  try {
    return yox::platform::ReadDeviceProfile(yox::JsonText(document));
  } catch (const yox::DocumentError& error) {
    throw Refusal("--now: " + error.message().substr(std::string_view("clock.now: ").size()));
  }
}

}  // namespace

std::string ClockTextOf(const std::string& now) {
  return now.find('T') == std::string::npos ? now + "T12:00:00" : now;
}

yox::platform::DeviceProfile::ClockSection ClockAt(const std::string& now) {
  return *ProfileAt("{}", now).clock;
}

yox::LocalDate Today(const GlobalOptions& options) {
  if (options.now) return ClockAt(*options.now).now->date;
  const ChosenDevice device(options);
  const auto& clock = yox::platform::Platform::Get().clock();
  return clock.ToLocalDate(clock.Now());
}

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
    simulated_.emplace(
        ReadNamed(*options.device,
                  [&](const std::string& text) { return ProfileAt(text, options.now); }),
        folder);
    installed_.emplace(*simulated_);
  } else if (options.state_dir) {
    // The machine's files determine their place at the first access.
    SetVariable("YOX_STATE_DIR", PathText(folder));
  }
  if (options.now && !options.device) {
    machine_.emplace(*options.now);
    installed_.emplace(*machine_);
  }
}

}  // namespace yoxctl
