#include "yox/clientbase/CRegUtil.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "yox/platform/Platform.h"
#include "yox/platform/registry/Registry.h"

namespace YOX {
namespace {

using platform::RegistryKey;
using platform::RegistryStatus;
using platform::RegistryType;
using platform::RegistryValue;
using platform::RegistryView;

constexpr std::uint32_t kAccess64Bit = 0x100, kAccess32Bit = 0x200;
constexpr long kSuccess = 0, kFileNotFound = 2, kMoreData = 234;

platform::Registry& TheRegistry() { return platform::Platform::Get().registry(); }

// Returns std::nullopt for the user's hive if no user is logged on.
std::optional<RegistryKey> UsersKey(HKEY root, const WString& path, RegistryView view, bool system,
                                    const WString& sid) {
  RegistryKey key{root, path, view, {}};
  if (system && root == HKEY_CURRENT_USER) {
    if (sid.empty()) return std::nullopt;
    key.user = sid;
  }
  return key;
}

int ReadText(RegistryKey key, const WString& name, WString& text) {
  RegistryValue value;
  if (TheRegistry().Get(key, name, value) != RegistryStatus::kOk ||
      value.type != RegistryType::kText) {
    return 0;
  }
  text = value.FirstText();
  return 1;
}

}  // namespace

CRegUtil::~CRegUtil() {
  for (HKEY const key : opened_) TheRegistry().Close(key);
}

int CRegUtil::OpenKey(HKEY root, const WString& path, HKEY& key, bool system, const WString& sid,
                      std::uint32_t access) {
  const RegistryView view = (access & kAccess64Bit) != 0   ? RegistryView::k64Bit
                            : (access & kAccess32Bit) != 0 ? RegistryView::k32Bit
                                                           : RegistryView::kDefault;
  const auto place = UsersKey(root, path, view, system, sid);
  if (!place || TheRegistry().Open(*place, access & ~(kAccess64Bit | kAccess32Bit), key) !=
                    RegistryStatus::kOk) {
    return 0;
  }
  opened_.push_back(key);
  return 1;
}

long CRegUtil::GetKeyValue(HKEY root, const WString& path, const WString& name, bool system,
                           const WString& sid, void* buffer, std::uint32_t& size,
                           std::uint32_t& type, bool only64bit) {
  const RegistryView view = only64bit ? RegistryView::k64Bit : RegistryView::kDefault;
  const auto key = UsersKey(root, path, view, system, sid);
  RegistryValue value;
  if (!key || TheRegistry().Get(*key, name, value) != RegistryStatus::kOk) return kFileNotFound;
  if (value.data.size() > size) return kMoreData;
  std::ranges::copy(value.data, static_cast<std::uint8_t*>(buffer));
  size = static_cast<std::uint32_t>(value.data.size());
  type = static_cast<std::uint32_t>(value.type);
  return kSuccess;
}

int CRegUtil::DoesKeyExistsIn64BitRegView(HKEY root, const WString& path) {
  return TheRegistry().Exists({root, path, RegistryView::k64Bit, {}});
}

int CRegUtil::CreateKey(HKEY root, const WString& path, int view64) {
  const RegistryView view = view64 != 0 ? RegistryView::k64Bit : RegistryView::kDefault;
  return TheRegistry().CreateKey({root, path, view, {}}) == RegistryStatus::kOk;
}

int CRegUtil::SetKeyValueIn64BitRegView(HKEY root, const WString& path, const WString& name,
                                        const WString& text) {
  return TheRegistry().SetValue({root, path, RegistryView::k64Bit, {}}, name,
                                RegistryValue::Text(text)) == RegistryStatus::kOk;
}

int CRegUtil::GetRegValueOfStringType(HKEY root, const WString& path, const WString& name,
                                      WString& text) {
  return ReadText({root, path, RegistryView::kDefault, {}}, name, text);
}

int CRegUtil::GetRegValueOfStringTypeIn64BitView(HKEY root, const WString& path,
                                                 const WString& name, WString& text) {
  return ReadText({root, path, RegistryView::k64Bit, {}}, name, text);
}

int CRegUtil::GetRegValueOfDwordType(HKEY root, const WString& path, const WString& name,
                                     std::uint32_t& number) {
  RegistryValue value;
  if (TheRegistry().Get({root, path, {}, {}}, name, value) != RegistryStatus::kOk) return 0;
  const std::optional<std::uint32_t> dword = value.AsDword();
  if (dword) number = *dword;
  return dword.has_value();
}

}  // namespace YOX
