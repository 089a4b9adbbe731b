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

// One argument of a log line: a text (UTF-8 or UTF-16) or an integer.
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

// Checks a printf-like literal against its arguments: %s and %S take a text, %d %i %u %x %X (with
// any of the length words h, l, ll, z and a zero-padded width) an integer, %% none.
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

// A literal whose conversions were checked by the compiler.
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

// A log: lines at three levels, written as UTF-8 to a rotating file once one is opened, and handed
// to the process's sink if there is one. Safe from any thread. An object has no destructor and may
// be used at any time of the process's life, before and after main included; what it holds is never
// freed.
class YOX_API Log {
 public:
  // `name` tells the sink whose line it is; it must outlive the log (a literal).
  constexpr explicit Log(const char* name) : name_(name) {}
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

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

  // Whether a line of this level would be read by anybody. Lines that nobody reads cost nothing.
  bool Enabled(LogLevel level) const {
    return level >= level_.load(std::memory_order_relaxed) &&
           (file_.load(std::memory_order_relaxed) != nullptr ||
            sink_set_.load(std::memory_order_relaxed)) &&
           SilencedHere() != this;
  }

  // While it lives, lines of the log that its own thread writes are read by nobody. One log for a
  // thread at a time: of two, the later one counts.
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

  // Writes to `path` from now on, with time stamp and level, at most 5 MiB a file and three files
  // kept. The folder must exist. Answers false, and changes nothing, when the file cannot be
  // opened.
  bool Open(const std::filesystem::path& path);

  // Takes every finished line of every log of the process: the log's name, the level, and the line
  // as UTF-8 without time stamp. The sink may be called from several threads at once; when a call
  // of SetSink returns, a line that was under way on another thread may still reach the former
  // sink. An empty function removes it. A sink must not log.
  static void SetSink(
      std::function<void(std::string_view log, LogLevel level, std::string_view line)> sink);

  // The finished text of a checked format and its arguments.
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

// The log that the library's parts share.
extern YOX_API constinit Log g_log;

}  // namespace YOX

namespace yox {
using YOX::g_log;
using YOX::Log;
using YOX::LogLevel;
}  // namespace yox
