#pragma once

#include <memory>
#include <string>
#include <vector>

#include "yox/base/Log.h"
#include "yox/base/ThreadSafety.h"

namespace yox_test {

// Takes every line of every log for its lifetime.
class CapturedLog {
 public:
  struct Line {
    std::string log;
    YOX::LogLevel level;
    std::string text;
  };

  CapturedLog() {
    YOX::Log::SetSink(
        [taken = taken_](std::string_view log, YOX::LogLevel level, std::string_view line) {
          const yox::MutexLock lock(taken->mutex);
          taken->lines.push_back({std::string(log), level, std::string(line)});
        });
  }
  ~CapturedLog() { YOX::Log::SetSink({}); }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  std::vector<Line> Lines() const {
    const yox::MutexLock lock(taken_->mutex);
    return taken_->lines;
  }

  // "log D text\n" for each line, the letter being the level.
  std::string Text() const {
    std::string text;
    for (const Line& line : Lines()) {
      text += line.log + " " + "DWE"[static_cast<int>(line.level)] + " " + line.text + "\n";
    }
    return text;
  }

  void Clear() {
    const yox::MutexLock lock(taken_->mutex);
    taken_->lines.clear();
  }

 private:
  // Shared with the sink: a line that is under way on another thread may still come to it.
  struct Taken {
    yox::Mutex mutex;
    std::vector<Line> lines YOX_GUARDED_BY(mutex);
  };

  const std::shared_ptr<Taken> taken_ = std::make_shared<Taken>();
};

}  // namespace yox_test
