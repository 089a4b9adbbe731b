#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX {

enum class LogLevel { Debug, Warning, Error };

// An argument of a log line: a string (UTF-8 or UTF-16) or an integer. Keeps a view of the string.
class LogArgument {
 public:
  enum class Kind { kNarrow, kWide, kSigned, kUnsigned };

  LogArgument(std::string_view text) : kind_(Kind::kNarrow), narrow_(text) {}    // NOLINT
  LogArgument(const char* text) : LogArgument(std::string_view(text)) {}         // NOLINT
  LogArgument(const std::string& text) : LogArgument(std::string_view(text)) {}  // NOLINT
  LogArgument(WStringView text) : kind_(Kind::kWide), wide_(text) {}             // NOLINT
  LogArgument(const WString& text) : LogArgument(WStringView(text)) {}           // NOLINT
  template <std::integral T>
  LogArgument(T number)  // NOLINT
      : kind_(std::is_signed_v<T> ? Kind::kSigned : Kind::kUnsigned),
        number_(static_cast<std::uint64_t>(number)) {}

  template <class T>
  static constexpr bool kIsInteger = std::integral<std::remove_cvref_t<T>>;

  Kind kind() const { return kind_; }
  std::string_view narrow() const { return narrow_; }
  WStringView wide() const { return wide_; }
  std::uint64_t number() const { return number_; }

 private:
  Kind kind_;
  std::string_view narrow_;
  WStringView wide_;
  std::uint64_t number_ = 0;
};

namespace log_detail {
void FormatDoesNotFitItsArguments();  // never defined: named by the compiler's error

// Checks a printf-like literal against its arguments: %s and %S take a string; %d %i %u %x %X (with
// any of the length modifiers h, l, ll, z and a zero-padded width) an integer; %% none.
consteval void CheckFormat(std::string_view format, std::span<const bool> is_integer) {
  std::size_t next = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') continue;
    if (++i == format.size()) FormatDoesNotFitItsArguments();
    if (format[i] == '%') continue;
    while (i < format.size() && format[i] >= '0' && format[i] <= '9') ++i;
    while (i < format.size() && (format[i] == 'l' || format[i] == 'z' || format[i] == 'h')) ++i;
    if (i == format.size() || next == is_integer.size()) FormatDoesNotFitItsArguments();
    const bool wants_integer = std::string_view("diuxX").find(format[i]) != std::string_view::npos;
    if (!wants_integer && format[i] != 's' && format[i] != 'S') FormatDoesNotFitItsArguments();
    if (wants_integer != is_integer[next++]) FormatDoesNotFitItsArguments();
  }
  if (next != is_integer.size()) FormatDoesNotFitItsArguments();
}
}  // namespace log_detail

// A format string that is checked against its arguments at compile time.
template <class... Args>
class LogFormat {
 public:
  template <std::size_t N>
  consteval LogFormat(const char (&literal)[N]) : text_(literal, N - 1) {  // NOLINT
    const bool is_integer[] = {LogArgument::kIsInteger<Args>..., false};
    log_detail::CheckFormat(text_, std::span(is_integer, sizeof...(Args)));
  }
  constexpr std::string_view text() const { return text_; }

 private:
  std::string_view text_;
};

// A log with three levels. Its lines go to a rotating file (UTF-8) after Open, and to the process's
// sink after SetSink; one for which there is no memory is dropped. Safe from any thread. A Log has
// neither a constructor that runs code nor a destructor, so it may be used before and after main;
// an open file is never closed.
class YOX_API Log {
 public:
  // `name` is passed to the sink with each line; it must outlive the log (a literal).
  constexpr explicit Log(const char* name) : name_(name) {}
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  // Write a line of level debug, warning or error: log.d("%s: %d tags", "Class::Function", count).
  template <class... Args>
  void d(LogFormat<std::type_identity_t<Args>...> format, const Args&... args) {
    Line(LogLevel::Debug, format.text(), args...);
  }
  template <class... Args>
  void w(LogFormat<std::type_identity_t<Args>...> format, const Args&... args) {
    Line(LogLevel::Warning, format.text(), args...);
  }
  template <class... Args>
  void e(LogFormat<std::type_identity_t<Args>...> format, const Args&... args) {
    Line(LogLevel::Error, format.text(), args...);
  }

  // Returns whether a line of this level goes to a file or a sink. One that does not is not built.
  bool Enabled(LogLevel level) const { return IsRead(level) && SilencedHere() != this; }
  // The same but for a Silence of the current thread; costs three loads.
  bool IsRead(LogLevel level) const {
    return level >= level_.load(std::memory_order_relaxed) &&
           (file_.load(std::memory_order_relaxed) != nullptr ||
            sink_set_.load(std::memory_order_relaxed));
  }

  // Drops the lines that the current thread writes to `log`, as long as the object lives. A thread
  // can silence one log at a time: while two objects live, only the newer one has an effect.
  class Silence {
   public:
    explicit Silence(const Log& log) : former_(SilencedHere()) { SilencedHere() = &log; }
    ~Silence() { SilencedHere() = former_; }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

   private:
    const Log* const former_;
  };

  // Lines below `level` are dropped; the default writes all.
  void SetLevel(LogLevel level) { level_.store(level, std::memory_order_relaxed); }

  // Writes lines to `path` from now on, with time stamp and level. A file has at most 5 MiB; three
  // files are kept. Each line of the log is one line of the file: control and format characters in
  // its arguments are escaped ("\u000a"). The folder must exist. Returns false if the file cannot
  // be opened; then nothing changes.
  bool Open(const std::filesystem::path& path);

  // Passes every line of every log of the process to `sink`: the log's name, the level, and the
  // line as UTF-8, without time stamp and with its arguments as they are. The sink may be called
  // from several threads at once, and the former sink may still be called for a short time after
  // SetSink has returned. An empty function removes the sink. A sink must not log.
  static void SetSink(
      std::function<void(std::string_view log, LogLevel level, std::string_view line)> sink);

  // Returns the line for a checked format string and its arguments.
  static std::string Format(std::string_view format, std::span<const LogArgument> arguments);

 private:
  struct File;

  template <class... Args>
  void Line(LogLevel level, std::string_view format, const Args&... args) {
    if (!Enabled(level)) return;
    if constexpr (sizeof...(Args) == 0) {
      Write(level, format, {});
    } else {
      const LogArgument arguments[] = {LogArgument(args)...};
      Write(level, format, arguments);
    }
  }
  void Write(LogLevel level, std::string_view format, std::span<const LogArgument> arguments);

  static const Log*& SilencedHere();

  static std::atomic<bool> sink_set_;

  const char* name_;
  std::atomic<LogLevel> level_{LogLevel::Debug};
  std::atomic<File*> file_{nullptr};
};

// The log that all components of the library share.
extern YOX_API constinit Log g_log;

}  // namespace YOX

namespace yox {
using YOX::g_log;
using YOX::Log;
using YOX::LogLevel;
}  // namespace yox
