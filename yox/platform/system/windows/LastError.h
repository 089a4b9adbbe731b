#pragma once

#include <windows.h>

#include <system_error>

namespace yox::platform {

// The handle, or an exception with the system's reason when it is null.
inline HANDLE OrThrow(HANDLE handle, const char* operation) {
  if (handle != nullptr) return handle;
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), operation);
}

}  // namespace yox::platform
