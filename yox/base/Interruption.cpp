#include "yox/base/Interruption.h"

#include <utility>

namespace yox {
namespace {

constinit thread_local const volatile std::sig_atomic_t* thread_flag = nullptr;

}  // namespace

InterruptionScope::InterruptionScope(const volatile std::sig_atomic_t* flag)
    : outer_(std::exchange(thread_flag, flag)) {}

InterruptionScope::~InterruptionScope() { thread_flag = outer_; }

void ThrowIfInterrupted() {
  if (thread_flag != nullptr && *thread_flag != 0) throw Interrupted();
}

}  // namespace yox
