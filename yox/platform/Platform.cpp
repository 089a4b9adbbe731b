#include "yox/platform/Platform.h"

#include <atomic>

namespace yox::platform {
namespace {

// Null means this machine's platform. Stored with release, so that a thread that loads the pointer
// also sees the platform that was built before.
constinit std::atomic<Platform*> g_installed{nullptr};
constinit std::atomic<std::uint64_t> g_generation{0};

Platform* Install(Platform* platform) {
  Platform* const former = g_installed.exchange(platform, std::memory_order_acq_rel);
  // After the exchange: who sees the new number finds the new platform.
  g_generation.fetch_add(1, std::memory_order_release);
  return former;
}

}  // namespace

Platform& Platform::Get() {
  Platform* const installed = g_installed.load(std::memory_order_acquire);
  return installed != nullptr ? *installed : Native();
}

std::uint64_t Platform::Generation() { return g_generation.load(std::memory_order_acquire); }

ScopedPlatform::ScopedPlatform(Platform& platform) : former_(Install(&platform)) {}

ScopedPlatform::~ScopedPlatform() { Install(former_); }

}  // namespace yox::platform
