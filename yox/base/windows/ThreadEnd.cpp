#include "yox/base/ThreadEnd.h"

#include <windows.h>

#include <memory>
#include <new>

namespace yox {
namespace {

struct Registration {
  void (*function)(void*);
  void* argument;
};

// A slot of the fiber-local storage, whose callback gets each thread's value.
class Slot {
 public:
  Slot() : index_(FlsAlloc(&Call)) {
    if (index_ == FLS_OUT_OF_INDEXES) throw std::bad_alloc();
  }
  ~Slot() { FlsFree(index_); }  // calls for all threads that have a value
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;

  void Set(std::unique_ptr<Registration> registration) {
    if (!FlsSetValue(index_, registration.get())) throw std::bad_alloc();
    registration.release();
  }

 private:
  static void WINAPI Call(void* value) {
    const std::unique_ptr<Registration> registration(static_cast<Registration*>(value));
    if (registration != nullptr) registration->function(registration->argument);
  }

  const DWORD index_;
};

}  // namespace

void CallAtThreadEnd(void (*function)(void*), void* argument) {
  static Slot slot;
  slot.Set(std::make_unique<Registration>(Registration{function, argument}));
}

}  // namespace yox
