#include <exception>
#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>

#include "yox/base/String.h"
#include "yox/clientbase/CoreUtility.h"
#include "yox/clientbase/FilePermissions.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/platform/files/NewFile.h"
#include "yox/policy/PlatformPolicy.h"

using YOX::String;
using namespace yox::literals;

namespace {

// Administrators and the local system, and nobody else.
constexpr yox::WStringView kFullAccess = "/q /grant *S-1-5-32-544:(OI)(CI)F *S-1-5-18:(OI)(CI)F"_wv;
constexpr yox::WStringView kReadAndWrite = "/q /grant *S-1-5-32-544:RW *S-1-5-18:RW"_wv;

void Append(std::ofstream& combined, const std::string& path) {
  std::ifstream part = FileSystem::OpenToRead(String::UTF8ToUTF16(path));
  combined << std::string(std::istreambuf_iterator<char>(part), {}) << '\n' << std::flush;
}

}  // namespace

bool PlatformPolicy::updateMqttCertChain() {
  constexpr const char* kFunction = "PlatformPolicy::updateMqttCertChain";
  try {
    if (mqtt_chain_pem64_.empty()) {
      if (log_ != nullptr) log_->d("%s, mqtt chain pem is empty so delete the file", kFunction);
      return deleteMqttCertChain();
    }
    if (log_ != nullptr) {
      log_->d("%s, mqtt chain pem is not empty so store it to a file", kFunction);
    }
    return storeMqttCertChain();
  } catch (const std::exception& exception) {
    if (log_ != nullptr) log_->e("%s, Exception: %s", kFunction, exception.what());
  }
  return false;
}

bool PlatformPolicy::storeMqttCertChain() {
  constexpr const char* kFunction = "PlatformPolicy::storeMqttCertChain";
  bool stored = false;
  try {
    std::string bridge;
    if (!YOX::utility::getBridgeMqttPemFilePath(bridge)) {
      if (log_ != nullptr) {
        log_->d("%s, not able to get BridgeMqttPem file path ", kFunction);
      }
      return false;
    }
    const std::string chain = String::Base64toString(String::UTF16ToUTF8(mqtt_chain_pem64_));
    // The file is there, with its final rights, before it holds anything.
    yox::NewFile file(String::UTF8ToUTF16(bridge), yox::NewFile::Access::kPrivate, std::ios::out);
    YOX::utility::ApplyFilePermissions(file.path(), yox::WString(kFullAccess), true);
    YOX::utility::ApplyFilePermissions(file.path(), yox::WString(kReadAndWrite), false);
    file.Write(chain);
    file.Commit();
    stored = true;
    AccumulateMqttCertChain();
  } catch (const std::exception& exception) {
    if (log_ != nullptr) log_->e("%s, Exception: %s", kFunction, exception.what());
  }
  return stored;
}

bool PlatformPolicy::deleteMqttCertChain() {
  constexpr const char* kFunction = "PlatformPolicy::deleteMqttCertChain";
  try {
    std::string bridge;
    if (!YOX::utility::getBridgeMqttPemFilePath(bridge)) {
      if (log_ != nullptr) log_->d("%s, not able to get mqtt ca pem file path", kFunction);
      return false;
    }
    if (FileUtils::removeFile(bridge) == 0) return true;
    if (log_ != nullptr) {
      log_->w("%s, mqtt ca pem file may not exist or failed to delete it", kFunction);
    }
  } catch (const std::exception& exception) {
    if (log_ != nullptr) log_->e("%s, Exception: %s", kFunction, exception.what());
  }
  return false;
}

void PlatformPolicy::AccumulateMqttCertChain() {
  constexpr const char* kFunction = "PlatformPolicy::AccumulateMqttCertChain";
  const std::string path = YOX::utility::getMqttPemFilePath();
  std::string bridge;
  std::string embedded;
  YOX::utility::getBridgeMqttPemFilePath(bridge);
  YOX::utility::getEmbeddedMqttPemFilePath(embedded);

  const yox::WString wide_path = String::UTF8ToUTF16(path);
  std::error_code ignored;
  std::filesystem::remove(FileSystem::Locate(wide_path), ignored);
  std::ofstream combined = FileSystem::OpenToWrite(wide_path, std::ios::out | std::ios::binary);
  if (FileUtils::fileExist(bridge) == 0 && YOX::CoreUtility::ValidatePemFile(bridge)) {
    Append(combined, bridge);
  }
  // What ships with the product is taken as it is.
  if (FileUtils::fileExist(embedded) == 0) Append(combined, embedded);
  combined.close();
  if (!YOX::CoreUtility::RemoveExpiredAndDuplicateCertsFromFile(path) && log_ != nullptr) {
    log_->e("%s, Issue occured while trying to remove potential expired and duplicate certs.",
            kFunction);
  }
}
