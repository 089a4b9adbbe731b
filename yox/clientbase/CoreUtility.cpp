#include "yox/clientbase/CoreUtility.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <iterator>
#include <optional>
#include <set>

#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/NewFile.h"
#include "yox/clientbase/Pem.h"
#include "yox/clientbase/PemCleaning.h"
#include "yox/clientbase/String.h"
#include "yox/clientbase/platform/Certificates.h"
#include "yox/clientbase/platform/Platform.h"

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

bool IsUsablePem(std::string_view pem) {
  const auto blocks = ReadPem(pem);
  return blocks && std::ranges::any_of(*blocks, &PemBlock::IsCertificate) &&
         std::ranges::all_of(*blocks, [](const PemBlock& block) {
           return !block.IsCertificate() || platform::CertificateEnd(block.der);
         });
}

std::optional<std::string> CleanPem(std::string_view pem, std::int64_t now) {
  const auto blocks = ReadPem(pem);
  if (!blocks) return std::nullopt;
  std::string clean;
  std::set<std::string_view> seen;
  std::size_t kept = 0;  // all before it was copied or dropped
  for (const PemBlock& block : *blocks) {
    if (!block.IsCertificate()) continue;
    const auto end = platform::CertificateEnd(block.der);
    if (!end) return std::nullopt;
    if (*end >= now && seen.insert(block.der).second) continue;
    clean += pem.substr(kept, block.begin - kept);
    kept = block.end;
  }
  return clean += pem.substr(kept);
}

bool CoreUtility::ValidatePemFile(const std::string& path) {
  const auto pem = ReadAll(String::UTF8ToUTF16(path));
  return pem && IsUsablePem(*pem);
}

bool CoreUtility::RemoveExpiredAndDuplicateCertsFromFile(const std::string& path) {
  const WString wide = String::UTF8ToUTF16(path);
  const auto pem = ReadAll(wide);
  if (!pem) return false;
  const auto clean = CleanPem(*pem, platform::Platform::Get().clock().Now());
  if (!clean) return false;
  if (*clean == *pem) return true;
  try {
    NewFile file(wide, NewFile::Access::kAsBefore, std::ios::binary);
    file.Write(*clean);
    file.Commit();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace YOX
