#include "yox/clientbase/CoreUtility.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <iterator>
#include <optional>
#include <set>

#include "yox/base/Pem.h"
#include "yox/base/String.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/crypto/Certificates.h"
#include "yox/platform/crypto/PemCleaning.h"
#include "yox/platform/files/NewFile.h"

namespace YOX {
namespace {

constexpr std::uint64_t kLargestFile = std::uint64_t{16} << 20;

std::optional<std::string> ReadAll(const WString& path) {
  if (FileSystem::fileSize(path) > kLargestFile) return std::nullopt;
  std::ifstream stream = FileSystem::OpenToRead(path);
  if (!stream) return std::nullopt;
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (stream.bad()) return std::nullopt;
  return text;
}

}  // namespace

bool CoreUtility::ValidatePemFile(const std::string& path) {
  const auto pem = ReadAll(String::UTF8ToUTF16(path));
  return pem && platform::IsUsablePem(*pem);
}

bool CoreUtility::RemoveExpiredAndDuplicateCertsFromFile(const std::string& path) {
  const WString wide = String::UTF8ToUTF16(path);
  const auto pem = ReadAll(wide);
  if (!pem) return false;
  const auto clean = platform::CleanPem(*pem, platform::Platform::Get().clock().Now());
  if (!clean) return false;
  if (*clean == *pem) return true;
  try {
    yox::NewFile file(wide, yox::NewFile::Access::kAsBefore, std::ios::binary);
    file.Write(*clean);
    file.Commit();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace YOX
