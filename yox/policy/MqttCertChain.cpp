#include <exception>
#include <string>

#include "yox/base/String.h"
#include "yox/clientbase/FilePermissions.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/platform/files/NewFile.h"
#include "yox/policy/CombinedChain.h"
#include "yox/policy/LogExceptions.h"
#include "yox/policy/PlatformPolicy.h"

using YOX::String;
using yox::policy::LogExceptions;
using namespace yox::literals;

namespace {

// Only administrators and the local system may open the stored chain.
constexpr yox::WStringView kFullAccess = "/q /grant *S-1-5-32-544:(OI)(CI)F *S-1-5-18:(OI)(CI)F"_wv;
constexpr yox::WStringView kReadAndWrite = "/q /grant *S-1-5-32-544:RW *S-1-5-18:RW"_wv;

// Returns false if the file cannot be written; the former one then stays.
bool WriteCombinedFile(const std::string& content) {
  try {
    yox::NewFile file(String::UTF8ToUTF16(YOX::utility::getMqttPemFilePath()),
                      yox::NewFile::Access::kPublic, yox::NewFile::Form::kBinary);
    file.Write(content);
    file.Commit();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

bool PlatformPolicy::updateMqttCertChain() {
  constexpr const char* kFunction = "PlatformPolicy::updateMqttCertChain";
  bool updated = false;
  LogExceptions(log_, kFunction, [&] {
    if (mqtt_chain_pem64_.empty()) {
      if (log_ != nullptr) log_->d("%s, mqtt chain pem is empty so delete the file", kFunction);
      updated = deleteMqttCertChain();
      return;
    }
    if (log_ != nullptr) {
      log_->d("%s, mqtt chain pem is not empty so store it to a file", kFunction);
    }
    updated = storeMqttCertChain();
  });
  return updated;
}

bool PlatformPolicy::storeMqttCertChain() {
  constexpr const char* kFunction = "PlatformPolicy::storeMqttCertChain";
  bool stored = false;
  LogExceptions(log_, kFunction, [&] {
    std::string bridge;
    if (!YOX::utility::getBridgeMqttPemFilePath(bridge)) {
      if (log_ != nullptr) {
        log_->d("%s, not able to get BridgeMqttPem file path ", kFunction);
      }
      return;
    }
    const std::string chain = String::Base64toString(String::UTF16ToUTF8(mqtt_chain_pem64_));
    // The file has its final access before it has content.
    yox::NewFile file(String::UTF8ToUTF16(bridge), yox::NewFile::Access::kPrivate,
                      yox::NewFile::Form::kText);
    YOX::utility::ApplyFilePermissions(file.path(), yox::WString(kFullAccess), true);
    YOX::utility::ApplyFilePermissions(file.path(), yox::WString(kReadAndWrite), false);
    file.Write(chain);
    file.Commit();
    stored = true;
    AccumulateMqttCertChain();
  });
  return stored;
}

bool PlatformPolicy::deleteMqttCertChain() {
  constexpr const char* kFunction = "PlatformPolicy::deleteMqttCertChain";
  bool deleted = false;
  LogExceptions(log_, kFunction, [&] {
    std::string bridge;
    if (!YOX::utility::getBridgeMqttPemFilePath(bridge)) {
      if (log_ != nullptr) log_->d("%s, not able to get mqtt ca pem file path", kFunction);
      return;
    }
    deleted = FileUtils::removeFile(bridge) == 0;
    if (!deleted && log_ != nullptr) {
      log_->w("%s, mqtt ca pem file may not exist or failed to delete it", kFunction);
    }
  });
  return deleted;
}

void PlatformPolicy::AccumulateMqttCertChain() {
  const yox::policy::CombinedChain chain = yox::policy::ReadCombinedChain();
  // A file that was not written is not cleaned either: one message for both.
  if (WriteCombinedFile(chain.pem) && chain.is_clean) return;
  if (log_ != nullptr) {
    log_->e("%s, Issue occured while trying to remove potential expired and duplicate certs.",
            "PlatformPolicy::AccumulateMqttCertChain");
  }
}
