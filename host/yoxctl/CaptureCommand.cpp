#include <memory>
#include <string>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/String.h"
#include "yox/clientbase/CaptureDevice.h"
#include "yox/clientbase/ZeroDayUtil.h"
#include "yox/device/YoxInfo.h"
#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/users/Users.h"
#include "yox/tags/Persona.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/ProgressLine.h"

namespace yoxctl {
namespace {

using namespace yox::literals;

using yox::platform::RegistryKey;

// The keys that the client itself reads, and those that the arguments name.
std::vector<RegistryKey> Keys(const std::vector<std::string>& arguments) {
  std::vector<RegistryKey> keys;
  for (HKEY const root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
    for (const auto& path : {"SOFTWARE\\Tervan"_w, "SOFTWARE\\Policies\\Tervan"_w}) {
      keys.push_back({.root = root, .path = path, .view = {}, .user = {}});
    }
  }
  for (const std::string& argument : arguments) {
    const auto key = yox::platform::ParseRegistryPath(YOX::String::UTF8ToUTF16(argument));
    if (!YOX::String::IsValidUTF8(argument) || !key || key->root == HKEY_USERS) {
      throw Refusal("--registry: expected a key such as HKLM\\SOFTWARE\\Contoso, found \"" +
                    yox::Printable(argument) + "\"");
    }
    keys.push_back(*key);
  }
  return keys;
}

std::string Profile(std::vector<RegistryKey> keys) {
  yox::platform::Platform& device = yox::platform::Platform::Get();
  if (const yox::WString user = device.users().LoggedInUserSid(); !user.empty()) {
    keys.push_back({.root = HKEY_USERS,
                    .path = user + "\\"_w + yox::Persona::kIntentRegistryPath,
                    .view = {},
                    .user = {}});
  }
  yox::platform::DeviceProfile profile = yox::platform::CaptureDevice(device, keys);
  profile.client.version = YoxInfo::GetInstance()->GetYoxServiceVersion();
  profile.client.anonymous_metrics = ZeroDayUtil::IsAnonymousMetricsEnabled(0);
  return yox::platform::WriteDeviceProfile(profile);
}

int Capture(const GlobalOptions& global, const std::vector<std::string>& registry) {
  const std::vector<RegistryKey> keys = Keys(registry);
  const ChosenDevice device(global);
  std::string document;
  {
    const ProgressLine progress("still reading the device");
    document = Profile(keys);
  }
  if (document.size() > yox::kMaxDocumentSize) {
    constexpr std::size_t kKiB = 1024;
    throw Refusal("the profile would have " + std::to_string(document.size() / kKiB) +
                  " KiB, and --device reads at most " +
                  std::to_string(yox::kMaxDocumentSize / kKiB) +
                  " KiB: name keys with fewer values with --registry");
  }
  Print(document);
  return kDone;
}

}  // namespace

Command CaptureCommand() {
  const auto registry = std::make_shared<std::vector<std::string>>();
  return {.name = "capture",
          .help = "The device as a profile, on standard output",
          .options = {{.name = "--registry",
                       .type = "HKLM\\KEY",
                       .help = "Take this key of HKLM or HKCU too, with all below it; may be "
                               "given several times",
                       .target = registry.get()}},
          .run = [registry](const GlobalOptions& global) { return Capture(global, *registry); }};
}

}  // namespace yoxctl
