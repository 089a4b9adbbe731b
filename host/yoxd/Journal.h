#pragma once

#include <string>
#include <string_view>

namespace yoxd {

// The service's messages: to the journal with fields (YOX_PART=channel) when standard error is
// connected to it, otherwise lines to standard error. Safe from any thread.
class Journal {
 public:
  enum class Priority { kError = 3, kWarning = 4, kNotice = 5, kInformation = 6, kDebug = 7 };

  // Messages below `least` are dropped. Call before other threads run.
  static void Begin(Priority least);
  static void Write(Priority priority, std::string_view part, std::string_view message);

  static void Error(std::string_view part, std::string_view message) {
    Write(Priority::kError, part, message);
  }
  static void Warning(std::string_view part, std::string_view message) {
    Write(Priority::kWarning, part, message);
  }
  static void Notice(std::string_view part, std::string_view message) {
    Write(Priority::kNotice, part, message);
  }

 private:
  // The system's: finds out where messages go, and writes one of a single line.
  static void Open();
  static void WriteLine(Priority priority, const std::string& part, const std::string& text);
};

}  // namespace yoxd
