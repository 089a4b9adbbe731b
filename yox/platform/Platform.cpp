#include "yox/platform/Platform.h"

#include <atomic>

namespace yox::platform {
namespace {

constinit std::atomic<Platform*> g_installed{nullptr};

}  // namespace

Platform& Platform::Get() {
  Platform* const installed = g_installed.load(std::memory_order_acquire);
  return installed != nullptr ? *installed : Native();
}

ScopedPlatform::ScopedPlatform(Platform& platform)
    : former_(g_installed.exchange(&platform, std::memory_order_acq_rel)) {}

ScopedPlatform::~ScopedPlatform() { g_installed.store(former_, std::memory_order_release); }

}  // namespace yox::platform
