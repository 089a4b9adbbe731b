#include "yox/foundation/LogThrottler.h"

#include <utility>

using yox::WString;

LogThrottler::LogThrottler() = default;
LogThrottler::~LogThrottler() = default;

bool LogThrottler::ShouldLogStatic(const WString& key, const WString& message) {
  const yox::MutexLock lock(cacheMutex);
  LogThrottleEntry& entry = cache[key];
  if (entry.lastMessage == message) return false;
  entry.lastMessage = message;
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
  return true;
}

void LogThrottler::ClearCache() {
  const yox::MutexLock lock(cacheMutex);
  cache.clear();
}

std::size_t LogThrottler::GetCacheSize() const {
  const yox::MutexLock lock(cacheMutex);
  return cache.size();
}
