#pragma once

#include <cstddef>
#include <mutex>
#include <unordered_map>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// Keeps repeated lines out of a log: remembers for each key what was last logged, and tells the
// caller to write only when something differs. It has no clock, and no limit but the number of
// distinct keys. Safe from any thread; each question and its answer are one step for their key.
class YOX_API LogThrottler {
 public:
  LogThrottler();
  ~LogThrottler();
  LogThrottler(const LogThrottler&) = delete;
  LogThrottler& operator=(const LogThrottler&) = delete;

  // True, and `message` is remembered, when it differs from the key's last message.
  bool ShouldLogStatic(const yox::WString& key, const yox::WString& message);

  // True when `required` or `actual` differs from what was last logged for the entry; the entry is
  // named key, "_" and required. A change of `message` alone is not logged.
  bool ShouldLogDynamic(const yox::WString& key, const yox::WString& required,
                        const yox::WString& actual, const yox::WString& message);

  // Forgets everything: each line is written once more.
  void ClearCache();
  // The number of entries.
  std::size_t GetCacheSize();

 private:
  struct LogThrottleEntry {
    yox::WString lastRequired;
    yox::WString lastActual;
    yox::WString lastMessage;
  };

  std::unordered_map<yox::WString, LogThrottleEntry> cache;
  std::mutex cacheMutex;
};
