#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "yox/clientbase/Log.h"

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
    YOX::Log::SetSink([this](std::string_view log, YOX::LogLevel level, std::string_view line) {
      const std::lock_guard lock(mutex_);
      lines_.push_back({std::string(log), level, std::string(line)});
    });
  }
  ~CapturedLog() { YOX::Log::SetSink({}); }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  std::vector<Line> Lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
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
    const std::lock_guard lock(mutex_);
    lines_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Line> lines_;
};

}  // namespace yox_test
