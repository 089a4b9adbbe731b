#include <memory>
#include <string>
#include <vector>

#include "yox/base/String.h"
#include "yox/clientbase/CaptureDevice.h"
#include "yox/clientbase/ZeroDayUtil.h"
#include "yox/device/YoxInfo.h"
#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/simulated/DeviceProfileReader.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/ProgressLine.h"

namespace yoxctl {
namespace {

using namespace yox::literals;

// What of the registry is the client's own, or decides about it.
std::vector<yox::WString> Keys(const std::vector<std::string>& arguments) {
  std::vector<yox::WString> keys = {"SOFTWARE\\Tervan"_w, "SOFTWARE\\Policies\\Tervan"_w};
  for (const std::string& argument : arguments) {
    const auto key = yox::platform::ParseRegistryPath(YOX::String::UTF8ToUTF16(argument));
    if (!YOX::String::IsValidUTF8(argument) || !key || key->root != HKEY_LOCAL_MACHINE) {
      throw Refusal("--registry: expected a key such as HKLM\\SOFTWARE\\Contoso, found \"" +
                    yox::Printable(argument) + "\"");
    }
    keys.push_back(key->path);
  }
  return keys;
}

int Capture(const GlobalOptions& global, const std::vector<std::string>& registry) {
  const std::vector<yox::WString> keys = Keys(registry);
  const ChosenDevice device(global);
  std::string document;
  {
    const ProgressLine progress("still asking the device");
    yox::platform::DeviceProfile profile =
        yox::platform::CaptureDevice(yox::platform::Platform::Get(), keys);
    profile.client.version = YoxInfo::GetInstance()->GetYoxServiceVersion();
    profile.client.anonymous_metrics = ZeroDayUtil::IsAnonymousMetricsEnabled(0);
    document = yox::platform::WriteDeviceProfile(profile);
  }
  if (!document.ends_with('\n')) document += '\n';
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
                       .help = "Take this key too, with all below it; may be given several times",
                       .target = registry.get()}},
          .run = [registry](const GlobalOptions& global) { return Capture(global, *registry); }};
}

}  // namespace yoxctl
