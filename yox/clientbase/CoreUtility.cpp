#include "yox/clientbase/CoreUtility.h"

#include <cstddef>
#include <exception>
#include <optional>

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

using yox::NewFile;

constexpr std::size_t kLargestFile = std::size_t{16} << 20;

// The bytes of a file; std::nullopt if it cannot be read or is too long.
std::optional<std::string> ReadAll(const WString& path) {
  std::ifstream stream = FileSystem::OpenToRead(path);
  if (!stream) return std::nullopt;
  std::string text;
  // The size that the system gives may be less than what can be read, so the reading is bounded.
  constexpr std::size_t kPiece = std::size_t{64} << 10;
  while (stream && text.size() <= kLargestFile) {
    const std::size_t before = text.size();
    text.resize(before + kPiece);
    stream.read(text.data() + before, kPiece);
    text.resize(before + static_cast<std::size_t>(stream.gcount()));
  }
  if (stream.bad() || text.size() > kLargestFile) return std::nullopt;
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
    NewFile file(wide, NewFile::Access::kAsBefore, NewFile::Form::kBinary);
    file.Write(*clean);
    file.Commit();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace YOX
