#include "yox/platform/waits/Semaphore.h"

#include "yox/platform/system/windows/LastError.h"

namespace yox::platform {

struct Semaphore::Implementation {
  Implementation(long initial, long maximum)
      : handle(OrThrow(CreateSemaphoreW(nullptr, initial, maximum, nullptr), "CreateSemaphore")) {}
  ~Implementation() { CloseHandle(handle); }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  const HANDLE handle;
};

Semaphore::Semaphore(long initial, long maximum)
    : implementation_(std::make_unique<Implementation>(initial, maximum)) {}

Semaphore::~Semaphore() = default;

bool Semaphore::Release(long count) {
  return count > 0 && ReleaseSemaphore(implementation_->handle, count, nullptr) != FALSE;
}

WaitHandle Semaphore::handle() const { return implementation_->handle; }

}  // namespace yox::platform
