#include "yox/base/ThreadSlot.h"

#include <windows.h>

#include <new>
#include <type_traits>

namespace yox {
namespace {

// The calling convention of the callback is the one of all functions in 64-bit programs.
static_assert(std::is_same_v<PFLS_CALLBACK_FUNCTION, void (*)(void*)>);
static_assert(sizeof(DWORD) == sizeof(std::uint32_t));

DWORD MakeIndex(void (*destroy)(void*)) {
  const DWORD index = FlsAlloc(destroy);
  if (index == FLS_OUT_OF_INDEXES) throw std::bad_alloc();
  return index;
}

}  // namespace

// Fiber-local storage calls for pointers that are not null when a thread ends, however it was made.
ThreadSlot::ThreadSlot(void (*destroy)(void*)) : destroy_(destroy), key_(MakeIndex(destroy)) {}

ThreadSlot::~ThreadSlot() { FlsFree(key_); }  // calls for the pointers of all threads

void* ThreadSlot::Get() const noexcept {
  // What it returns is an error of its own; the caller's is kept.
  const DWORD error = GetLastError();
  void* const pointer = FlsGetValue(key_);
  SetLastError(error);
  return pointer;
}

void ThreadSlot::Set(void* pointer) {
  if (!FlsSetValue(key_, pointer) && GetLastError() != ERROR_INVALID_PARAMETER) {
    throw std::bad_alloc();
  }
}

}  // namespace yox
