#pragma once

#include <cstddef>
#include <mutex>
#include <unordered_map>

#include "yox/clientbase/Export.h"
#include "yox/clientbase/WString.h"

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
  bool ShouldLogStatic(const YOX::WString& key, const YOX::WString& message);

  // True when `required` or `actual` differs from what was last logged for the entry; the entry is
  // named key, "_" and required. A change of `message` alone is not logged.
  bool ShouldLogDynamic(const YOX::WString& key, const YOX::WString& required,
                        const YOX::WString& actual, const YOX::WString& message);

  // Forgets everything: each line is written once more.
  void ClearCache();
  // The number of entries.
  std::size_t GetCacheSize();

 private:
  struct LogThrottleEntry {
    YOX::WString lastRequired;
    YOX::WString lastActual;
    YOX::WString lastMessage;
  };

  std::unordered_map<YOX::WString, LogThrottleEntry> cache;
  std::mutex cacheMutex;
};
