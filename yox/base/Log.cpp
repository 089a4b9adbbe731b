#include "yox/base/Log.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>

#include <array>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <system_error>
#include <utility>

#include "yox/base/Printable.h"
#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"

namespace YOX {
namespace {

constexpr std::size_t kLargestFile = 5 * 1024 * 1024;
constexpr std::size_t kFormerFiles = 2;

using Sink = std::function<void(std::string_view, LogLevel, std::string_view)>;

struct SinkHolder {
  yox::Mutex mutex;
  std::shared_ptr<const Sink> sink YOX_GUARDED_BY(mutex);
};

// Never destroyed, because destructors of static objects use logs.
SinkHolder& Holder() {
  static auto* const holder = new SinkHolder;
  return *holder;
}

spdlog::level::level_enum SpdLevel(LogLevel level) {
  constexpr std::array kLevels = {spdlog::level::debug, spdlog::level::warn, spdlog::level::err};
  return kLevels[static_cast<std::size_t>(level)];
}

// Appends an integer as printf does; `spec` is the text between '%' and the conversion's letter.
void AppendInteger(std::string& out, std::string_view spec, char conversion,
                   const LogArgument& argument) {
  const bool wide = spec.find_first_of("lz") != std::string_view::npos;
  std::uint64_t number = argument.number();
  bool negative = false;
  if (conversion == 'd' || conversion == 'i') {
    negative =
        argument.kind() == LogArgument::Kind::kSigned && static_cast<std::int64_t>(number) < 0;
    if (negative) number = ~number + 1;
  } else if (!wide) {
    number &= 0xFFFFFFFF;
  }
  const bool hexadecimal = conversion == 'x' || conversion == 'X';
  const char* const digits = conversion == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
  const unsigned base = hexadecimal ? 16 : 10;
  std::array<char, 24> buffer;
  std::size_t at = buffer.size();
  do {
    buffer[--at] = digits[number % base];
    number /= base;
  } while (number != 0);

  std::size_t width = 0;
  for (const char c : spec) {
    if (c >= '0' && c <= '9') width = width * 10 + static_cast<std::size_t>(c - '0');
  }
  const std::size_t used = buffer.size() - at + (negative ? 1 : 0);
  const std::size_t padding = width > used ? width - used : 0;
  const bool zeros = spec.starts_with('0');
  if (!zeros) out.append(padding, ' ');
  if (negative) out += '-';
  if (zeros) out.append(padding, '0');
  out.append(buffer.data() + at, buffer.size() - at);
}

// `shown(text)` returns a narrow or wide argument as it is to be written.
template <class Shown>
std::string Formatted(std::string_view format, std::span<const LogArgument> arguments,
                      Shown shown) {
  std::string out;
  out.reserve(format.size() + 16 * arguments.size());
  std::size_t next = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') {
      out += format[i];
      continue;
    }
    const std::size_t conversion = format.find_first_of("sSdiuxX%", i + 1);
    if (format[conversion] == '%') {
      out += '%';
    } else {
      const LogArgument& argument = arguments[next++];
      if (argument.kind() == LogArgument::Kind::kNarrow) {
        out += shown(argument.narrow());
      } else if (argument.kind() == LogArgument::Kind::kWide) {
        out += shown(String::UTF16ToUTF8(argument.wide()));
      } else {
        AppendInteger(out, format.substr(i + 1, conversion - i - 1), format[conversion], argument);
      }
    }
    i = conversion;
  }
  return out;
}

}  // namespace

struct Log::File {
  std::shared_ptr<spdlog::logger> logger;
  File* former;  // never freed, because another thread may be writing to it
};

constinit std::atomic<bool> Log::sink_set_{false};

constinit Log g_log{"yox"};

const Log*& Log::SilencedHere() {
  thread_local constinit const Log* silenced = nullptr;
  return silenced;
}

bool Log::Open(const std::filesystem::path& path) {
  try {
    // Lines name the device and its user: only this account may read them, whatever the umask.
    spdlog::file_event_handlers handlers;
    handlers.after_open = [](const spdlog::filename_t& name, std::FILE*) {
      using std::filesystem::perms;
      std::error_code ignored;
      std::filesystem::permissions(name, perms::owner_read | perms::owner_write, ignored);
    };
    auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
        path.native(), kLargestFile, kFormerFiles, false, handlers);
    auto logger = std::make_shared<spdlog::logger>(name_, std::move(sink));
    logger->set_level(spdlog::level::debug);
    logger->flush_on(spdlog::level::debug);
    auto file = std::make_unique<File>(File{std::move(logger), file_.load()});
    while (!file_.compare_exchange_weak(file->former, file.get())) {
    }
    file.release();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

void Log::SetSink(Sink sink) {
  auto shared = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
  sink_set_.store(shared != nullptr, std::memory_order_relaxed);
  SinkHolder& holder = Holder();
  const yox::MutexLock lock(holder.mutex);
  holder.sink.swap(shared);
}

void Log::Write(LogLevel level, std::string_view format, std::span<const LogArgument> arguments) {
  // Destructors log: they would end the process with an exception.
  try {
    if (File* const file = file_.load(std::memory_order_acquire)) {
      const std::string line = Formatted(format, arguments, yox::OneLine);
      file->logger->log(SpdLevel(level), spdlog::string_view_t(line.data(), line.size()));
    }
    std::shared_ptr<const Sink> sink;
    {
      SinkHolder& holder = Holder();
      const yox::MutexLock lock(holder.mutex);
      sink = holder.sink;
    }
    if (sink) (*sink)(name_, level, Format(format, arguments));
  } catch (const std::bad_alloc&) {  // the line is lost
  }
}

std::string Log::Format(std::string_view format, std::span<const LogArgument> arguments) {
  return Formatted(format, arguments, [](std::string_view text) { return text; });
}

}  // namespace YOX
