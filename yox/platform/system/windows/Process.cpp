#include "yox/platform/system/Process.h"

#include <windows.h>

namespace yox::platform {

bool OtherThreadsAreGone() {
  using Question = BOOLEAN(WINAPI*)();
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  if (ntdll == nullptr) return false;
  const auto ask = reinterpret_cast<Question>(
      reinterpret_cast<void*>(GetProcAddress(ntdll, "RtlDllShutdownInProgress")));
  return ask != nullptr && ask() != FALSE;
}

}  // namespace yox::platform
