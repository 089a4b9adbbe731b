#include "yox/policy/ProvisionFileUtility.h"

#include <iterator>
#include <optional>

#include "yox/base/Json.h"
#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/clientbase/CriticalEventLogger.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/files/PathText.h"
#include "yox/policy/BuiltInTrust.h"

using YOX::g_log;
using YOX::String;
using yox::WString;
using namespace yox::literals;

namespace {

constexpr yox::WStringView kRootDirectory = "C:\\"_wv;
constexpr yox::WStringView kDataDirectory =
    "\\tervan\\YOX\\"_wv;  // below the common application data

void LogUnreadableFile() { CriticalEventLogger::Log(1001, 86); }

void LogInvalidSize(std::uint64_t size) {
  g_log.e("%s: Provision file size invalid %llu", "ProvisionFileUtility::ExtractProvisionContent",
          size);
}

WString FileIn(const WString& folder) {
  WString path = folder;
  path += ProvisionFileUtility::kFileName;
  return path;
}

WString OneUnitForEachByte(const std::string& bytes) {
  const auto* const first = reinterpret_cast<const unsigned char*>(bytes.data());
  return {first, first + bytes.size()};
}

// Returns an empty text if there is no such member or it cannot be converted. The content is read
// through a constant reference, so that no member is added.
WString TextOf(const Json::Value& content, const char* key) {
  try {
    return String::UTF8ToUTF16(content[key].asString());
  } catch (const Json::Exception&) {
    return {};
  }
}

}  // namespace

ProvisionFileUtility::ProvisionFileUtility() = default;
ProvisionFileUtility::~ProvisionFileUtility() = default;

ProvisionFileUtility* ProvisionFileUtility::GetInstance() {
  static auto* const instance = new ProvisionFileUtility;
  return instance;
}

WString ProvisionFileUtility::GetProvisionPath() {
  const WString root(kRootDirectory);
  WString data = FileSystem::GetCommonApplicationDataPath();
  data += yox::platform::NativePath(kDataDirectory);
  if (FileSystem::fileExists(FileIn(root))) {
    FileSystem::deleteFile(FileIn(data));
    return root;
  }
  return FileSystem::fileExists(FileIn(data)) ? data : WString();
}

bool ProvisionFileUtility::GetYoxAppDataRootPath(WString& path) {
  return YOX::utility::GetYoxAppDataRootPath(path);
}

void ProvisionFileUtility::ExtractProvisionFileInfo() {
  ExtractProvisionContent(FileIn(GetProvisionPath()));
}

bool ProvisionFileUtility::IsFileSizeValid(const WString&, std::uint64_t size) const {
  if (size <= kLargestFile) return true;
  LogUnreadableFile();
  g_log.d("%s: yox-provision.json bigger than 1MB", "ProvisionFileUtility::IsFileSizeValid");
  return false;
}

void ProvisionFileUtility::ExtractProvisionContent(const WString& path) {
  const std::uint64_t size = FileSystem::fileSize(path);
  if (!IsFileSizeValid(path, size)) return LogInvalidSize(size);
  std::string text;
  if (ExtractProvisionJsonContent(path, text)) ParseProvisionContent(text);
}

void ProvisionFileUtility::ExtractProvisionContentOf(const std::string& bytes) {
  if (!IsFileSizeValid({}, bytes.size())) return LogInvalidSize(bytes.size());
  ParseProvisionContent(String::UTF16ToUTF8(OneUnitForEachByte(bytes)));
}

void ProvisionFileUtility::ParseProvisionContent(const std::string& text) {
  constexpr const char* kFunction = "ProvisionFileUtility::ExtractProvisionContent";
  std::optional<Json::Value> content;
  try {
    content = yox::ParseLenientJson(text);
  } catch (const Json::Exception&) {
    // Nested too deeply.
  }
  if (content) {
    content_ = *std::move(content);
    g_log.d("%s: Provision file extraction success", kFunction);
  } else {
    g_log.d("%s: Provision file extraction failed", kFunction);
  }
}

bool ProvisionFileUtility::ExtractProvisionJsonContent(const WString& path,
                                                       std::string& content) const {
  std::ifstream stream = FileSystem::OpenToRead(path, std::ios::in);
  if (!stream) {
    LogUnreadableFile();
    g_log.e("%s: Provision file Open failed : %d",
            "ProvisionFileUtility::ExtractProvisionJsonContent", 2002);
    return false;
  }
  std::string bytes;
  for (std::istreambuf_iterator<char> byte(stream), end; byte != end; ++byte) {
    // A file can have more bytes than its size says: it may have grown since, and the size of the
    // files of /proc is 0.
    if (bytes.size() == kLargestFile) {
      IsFileSizeValid(path, kLargestFile + 1);
      LogInvalidSize(kLargestFile + 1);
      return false;
    }
    bytes += *byte;
  }
  content = String::UTF16ToUTF8(OneUnitForEachByte(bytes));
  return true;
}

bool ProvisionFileUtility::IsProvisionTokenValid(WString& token) const {
  const std::string reason = yox::policy::RefusalOfToken(
      String::UTF16ToUTF8(token), String::UTF16ToUTF8(yox::policy::PublicKey()),
      yox::platform::Platform::Get().clock().Now(), GetTokenType());
  if (!reason.empty()) token = String::UTF8ToUTF16(reason);
  return reason.empty();
}

void ProvisionFileUtility::PopulateProvisionInfo() {
  WString token = TextOf(content_, "provision_token");
  info_.isTokenValid = IsProvisionTokenValid(token);
  info_.provisionToken = TextOf(content_, "provision_token");
  if (info_.isTokenValid) info_.configPolicy = TextOf(content_, "config_policy");
}

std::string ProvisionFileUtility::WhyTokenIsRefused() const {
  WString token = TextOf(content_, "provision_token");
  return IsProvisionTokenValid(token) ? std::string() : String::UTF16ToUTF8(token);
}

void ProvisionFileUtility::SetBaseUri(const WString& uri, bool manual_registration) {
  info_.isManualRegistration = manual_registration;
  if (!manual_registration) return;
  g_log.d("%s Base Uri for manual registration: %s", "ProvisionFileUtility::SetBaseUri", uri);
  info_.baseUri = uri;
}
