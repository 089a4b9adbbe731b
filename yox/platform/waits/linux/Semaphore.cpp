#include "yox/platform/waits/Semaphore.h"

#include <atomic>

#include "yox/platform/waits/linux/LinuxWaitable.h"

namespace yox::platform {

struct YOX_LOCAL Semaphore::Implementation final : LinuxWaitable {
  Implementation(long initial, long most) : count(initial), maximum(most) {}

  bool TryTake() override {
    long tokens = count.load();
    while (tokens > 0) {
      if (count.compare_exchange_weak(tokens, tokens - 1)) return true;
    }
    return false;
  }

  bool MoreToTake() const override { return count.load() > 0; }

  bool Put(long tokens) {
    long former = count.load();
    do {
      if (tokens > maximum - former) return false;
    } while (!count.compare_exchange_weak(former, former + tokens));
    Wake();
    return true;
  }

  std::atomic<long> count;
  const long maximum;
};

Semaphore::Semaphore(long initial, long maximum)
    : implementation_(std::make_unique<Implementation>(initial, maximum)) {}

Semaphore::~Semaphore() = default;

bool Semaphore::Release(long count) { return count > 0 && implementation_->Put(count); }

WaitHandle Semaphore::handle() const {
  return {implementation_->descriptor(), implementation_.get()};
}

}  // namespace yox::platform
