#include "yox/platform/crypto/RandomBytes.h"

#include <atomic>

namespace yox::platform {
namespace {

constinit std::atomic<ScopedRandomSource::Source> g_source{&NativeFillRandom};

}  // namespace

bool FillRandom(std::span<unsigned char> bytes) { return g_source.load()(bytes); }

ScopedRandomSource::ScopedRandomSource(Source source) : former_(g_source.exchange(source)) {}

ScopedRandomSource::~ScopedRandomSource() { g_source.store(former_); }

}  // namespace yox::platform
