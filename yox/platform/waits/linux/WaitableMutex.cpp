#include "yox/platform/waits/WaitableMutex.h"

#include <atomic>

#include "yox/platform/waits/linux/LinuxWaitable.h"

namespace yox::platform {
namespace {

// Its address names the thread.
constinit thread_local const char t_thread = 0;

}  // namespace

struct YOX_LOCAL WaitableMutex::Implementation final : LinuxWaitable {
  bool TryTake() override {
    const char* former = nullptr;
    if (owner.compare_exchange_strong(former, &t_thread) || former == &t_thread) {
      ++depth;
      return true;
    }
    return false;
  }

  bool MoreToTake() const override { return owner.load() == nullptr; }

  bool Put() {
    if (owner.load(std::memory_order_relaxed) != &t_thread) return false;
    if (--depth > 0) return true;
    owner.store(nullptr);
    Wake();
    return true;
  }

  std::atomic<const char*> owner{nullptr};
  unsigned depth = 0;  // the owner's
};

WaitableMutex::WaitableMutex() : implementation_(std::make_unique<Implementation>()) {}

WaitableMutex::~WaitableMutex() = default;

bool WaitableMutex::Release() { return implementation_->Put(); }

WaitHandle WaitableMutex::handle() const {
  return {implementation_->descriptor(), implementation_.get()};
}

}  // namespace yox::platform
