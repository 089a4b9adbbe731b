#include "yox/clientbase/Paths.h"

#include "yox/base/String.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/platform/Platform.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/PathText.h"

namespace YOX::utility {
namespace {

platform::Files& Files() { return platform::Platform::Get().files(); }

bool GetCertificatePath(WStringView name, std::string& path) {
  WString folder;
  if (!GetYoxAppDataRootPath(folder)) return false;
  folder += platform::NativePath("\\Certificates"_wv);
  FileSystem::createDirectory(folder, true);
  path = String::UTF16ToUTF8(folder += platform::NativePath(name));
  return true;
}

}  // namespace

bool GetYoxAppDataRootPath(WString& path) {
  auto root = Files().ApplicationDataRoot();
  if (root) path = *std::move(root);
  return root.has_value();
}

WString GetSystemDirectoryW() { return Files().SystemDirectory(); }

bool getBridgeMqttPemFilePath(std::string& path) {
  return GetCertificatePath("\\mqtt-bridge.pem"_wv, path);
}

bool getEmbeddedMqttPemFilePath(std::string& path) {
  WString folder = Files().ProductDirectory();
  if (folder.empty()) return false;
  path = String::UTF16ToUTF8(folder += platform::NativePath("\\mqtt-embedded.pem"_wv));
  return true;
}

std::string getMqttPemFilePath() {
  std::string path;
  GetCertificatePath("\\mqtt.pem"_wv, path);
  return path;
}

}  // namespace YOX::utility
