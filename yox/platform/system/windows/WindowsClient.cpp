#include "yox/platform/system/windows/WindowsClient.h"

#include <windows.h>

#include <string>
#include <vector>

#include "yox/platform/system/AnonymousMetrics.h"

namespace yox::platform {

WString WindowsClient::FileVersion(const WString& path) {
  const DWORD size = GetFileVersionInfoSizeW(path.c_str(), nullptr);
  if (size == 0) return {};
  std::vector<BYTE> info(size);
  void* block = nullptr;
  UINT length = 0;
  if (!GetFileVersionInfoW(path.c_str(), 0, size, info.data()) ||
      !VerQueryValueW(info.data(), L"\\", &block, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
    return {};
  }
  const auto& fixed = *static_cast<const VS_FIXEDFILEINFO*>(block);
  return std::to_wstring(HIWORD(fixed.dwFileVersionMS)) + L'.' +
         std::to_wstring(LOWORD(fixed.dwFileVersionMS)) + L'.' +
         std::to_wstring(HIWORD(fixed.dwFileVersionLS)) + L'.' +
         std::to_wstring(LOWORD(fixed.dwFileVersionLS));
}

bool WindowsClient::AnonymousMetrics() { return ReadAnonymousMetrics(registry_); }

}  // namespace yox::platform
