#include "yox/platform/waits/WaitableMutex.h"

#include "yox/platform/system/windows/LastError.h"

namespace yox::platform {

struct WaitableMutex::Implementation {
  Implementation() : handle(OrThrow(CreateMutexW(nullptr, FALSE, nullptr), "CreateMutex")) {}
  ~Implementation() { CloseHandle(handle); }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  const HANDLE handle;
};

WaitableMutex::WaitableMutex() : implementation_(std::make_unique<Implementation>()) {}

WaitableMutex::~WaitableMutex() = default;

bool WaitableMutex::Release() { return ReleaseMutex(implementation_->handle) != FALSE; }

WaitHandle WaitableMutex::handle() const { return implementation_->handle; }

}  // namespace yox::platform
