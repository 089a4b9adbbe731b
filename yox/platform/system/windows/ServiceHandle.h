#pragma once

#include <windows.h>

namespace yox::platform {

// A handle of the service manager or of a service; null when it could not be opened, which makes
// every call with it fail.
class ServiceHandle {
 public:
  explicit ServiceHandle(SC_HANDLE handle) : handle_(handle) {}
  ~ServiceHandle() {
    if (handle_ != nullptr) CloseServiceHandle(handle_);
  }
  ServiceHandle(const ServiceHandle&) = delete;
  ServiceHandle& operator=(const ServiceHandle&) = delete;

  SC_HANDLE get() const { return handle_; }

 private:
  SC_HANDLE handle_;
};

}  // namespace yox::platform
