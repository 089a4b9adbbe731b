#include "yox/base/ThreadEnd.h"

namespace yox {
namespace {

struct Registration {
  ~Registration() {
    if (function != nullptr) function(argument);
  }

  void (*function)(void*) = nullptr;
  void* argument = nullptr;
};

}  // namespace

void CallAtThreadEnd(void (*function)(void*), void* argument) {
  thread_local Registration registration;
  registration.function = function;
  registration.argument = argument;
}

}  // namespace yox
