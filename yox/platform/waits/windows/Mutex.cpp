#include "yox/platform/waits/Mutex.h"

#include "yox/platform/system/windows/LastError.h"

namespace yox::platform {

struct Mutex::Implementation {
  Implementation() : handle(OrThrow(CreateMutexW(nullptr, FALSE, nullptr), "CreateMutex")) {}
  ~Implementation() { CloseHandle(handle); }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  const HANDLE handle;
};

Mutex::Mutex() : implementation_(std::make_unique<Implementation>()) {}

Mutex::~Mutex() = default;

bool Mutex::Release() { return ReleaseMutex(implementation_->handle) != FALSE; }

WaitHandle Mutex::handle() const { return implementation_->handle; }

}  // namespace yox::platform
