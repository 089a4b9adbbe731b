#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"

// Decides whether a log line is to be written, so that a line is not repeated while it says the
// same. It remembers for each key what was logged last; it has no clock, and no limit but the
// number of different keys. Texts are UTF-16. Safe from any thread: two threads that ask the same
// question at once get one `true`.
class YOX_API LogThrottler {
 public:
  LogThrottler();
  ~LogThrottler();
  LogThrottler(const LogThrottler&) = delete;
  LogThrottler& operator=(const LogThrottler&) = delete;

  // For lines with a fixed key. Returns true, and remembers `message`, if it differs from the key's
  // last message; the message before the first is the empty one.
  bool ShouldLogStatic(const yox::WString& key, const yox::WString& message);

  // For lines that depend on what the caller required. Each `required` has an entry of its own,
  // named by key, "_" and required. Returns true, and remembers all three, if `required` or
  // `actual` differs from the entry's last; both are empty before the first. `message` is not
  // compared.
  bool ShouldLogDynamic(const yox::WString& key, const yox::WString& required,
                        const yox::WString& actual, const yox::WString& message);

  // Changes whenever a question of any throttle may have got another answer: while it stays the
  // same, a question that returned false returns false again, and need not be asked. Costs one
  // load.
  static std::uint64_t Generation() { return generation_.load(std::memory_order_acquire); }

  // Forgets everything, so that each line is written once more.
  void ClearCache();
  // The number of entries.
  std::size_t GetCacheSize() const;

 private:
  struct LogThrottleEntry {
    yox::WString lastRequired;
    yox::WString lastActual;
    yox::WString lastMessage;
  };

  static void Change() { generation_.fetch_add(1, std::memory_order_release); }

  static std::atomic<std::uint64_t> generation_;

  std::unordered_map<yox::WString, LogThrottleEntry> cache YOX_GUARDED_BY(cacheMutex);
  mutable yox::Mutex cacheMutex;
};
