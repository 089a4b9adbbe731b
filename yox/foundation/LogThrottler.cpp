#include "yox/foundation/LogThrottler.h"

#include <utility>

using yox::WString;

constinit std::atomic<std::uint64_t> LogThrottler::generation_{0};

LogThrottler::LogThrottler() { Change(); }  // one may have been at its address before
LogThrottler::~LogThrottler() = default;

bool LogThrottler::ShouldLogStatic(const WString& key, const WString& message) {
  const yox::MutexLock lock(cacheMutex);
  LogThrottleEntry& entry = cache[key];
  if (entry.lastMessage == message) return false;
  entry.lastMessage = message;
  Change();
  return true;
}

bool LogThrottler::ShouldLogDynamic(const WString& key, const WString& required,
                                    const WString& actual, const WString& message) {
  WString name;
  name.reserve(key.size() + 1 + required.size());
  name.append(key).append(1, '_').append(required);

  const yox::MutexLock lock(cacheMutex);
  LogThrottleEntry& entry = cache[std::move(name)];
  if (entry.lastRequired == required && entry.lastActual == actual) return false;
  entry.lastRequired = required;
  entry.lastActual = actual;
  entry.lastMessage = message;
  Change();
  return true;
}

void LogThrottler::ClearCache() {
  const yox::MutexLock lock(cacheMutex);
  cache.clear();
  Change();
}

std::size_t LogThrottler::GetCacheSize() const {
  const yox::MutexLock lock(cacheMutex);
  return cache.size();
}
