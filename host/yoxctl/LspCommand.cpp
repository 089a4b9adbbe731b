#include <atomic>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/facts/FactsLine.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/FactsSource.h"
#include "host/yoxctl/FieldFacts.h"
#include "host/yoxctl/FleetFindings.h"
#include "host/yoxctl/LanguageServer.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

constexpr std::size_t kLongestMessage = std::size_t{64} << 20;

// Reads the header of a message, and returns the length of its content. Lines that are no header of
// the protocol are skipped. std::nullopt at the end of the input.
std::optional<std::size_t> ReadHeader(std::istream& input) {
  constexpr std::string_view kLength = "content-length:";
  constexpr std::size_t kLongestLine = 1024;
  std::optional<std::size_t> length;
  std::string line;
  for (int c = input.get(); c != std::istream::traits_type::eof(); c = input.get()) {
    if (c != '\n') {
      if (line.size() < kLongestLine) line += static_cast<char>(c);
      continue;
    }
    if (line.ends_with('\r')) line.pop_back();
    if (line.empty() && length) return length;
    const std::string lower =
        YOX::String::UTF16ToUTF8(YOX::String::ToLower(YOX::String::UTF8ToUTF16(line)));
    if (lower.starts_with(kLength)) {
      std::size_t number = 0;
      const std::size_t begin = lower.find_first_not_of(' ', kLength.size());
      const char* const end = lower.data() + lower.size();
      const bool read = begin != std::string::npos &&
                        std::from_chars(lower.data() + begin, end, number).ec == std::errc();
      if (read) length = number;
    }
    line.clear();
  }
  return std::nullopt;
}

// std::nullopt at the end of the input. A message that is too long is skipped.
std::optional<std::string> ReadMessage(std::istream& input) {
  while (const auto length = ReadHeader(input)) {
    if (*length > kLongestMessage) {
      input.ignore(static_cast<std::streamsize>(*length));
      continue;
    }
    std::string message(*length, '\0');
    if (!input.read(message.data(), static_cast<std::streamsize>(*length))) return std::nullopt;
    return message;
  }
  return std::nullopt;
}

void Send(const std::vector<Json::Value>& messages) {
  for (const Json::Value& message : messages) {
    const std::string content = yox::JsonText(message, yox::JsonStyle::kCompact);
    Print("Content-Length: " + std::to_string(content.size()) + "\r\n\r\n" + content);
  }
}

// "12,480"
std::string Grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t at = text.size(); at > 3;) text.insert(at -= 3, 1, ',');
  return text;
}

// Edits are to be answered in the meantime.
constexpr std::size_t kFleetThreads = 1;

// Thrown to leave the fleet when the editor is gone.
struct Stopped : Refusal {
  Stopped() : Refusal("the server ends") {}
};

// To how many devices of facts documents a list applies; empty for what is no list.
std::string CountedOn(const std::vector<std::string>& sources, const std::string& text,
                      std::int64_t now, const std::function<void()>& progress) {
  ApplicabilityFilter list;
  try {
    list = yox::decision::ReadFilterDocument(text);
  } catch (const yox::DocumentError&) {
    return {};
  }
  yox::decision::Question question;
  question.now = now;
  const auto compiled = list.snapshot();
  std::uint64_t applies = 0;
  const FactsInput input{
      .sources = sources, .skip_bad = true, .jobs = kFleetThreads, .lists = {&list, 1}};
  const FactsCount count = ReadFleet(input, [&](FactsBatch& batch) {
    std::uint64_t here = 0;
    while (batch.Next()) {
      progress();
      yox::facts::LineFacts facts(batch.line(), question);
      here += yox::decision::Decide(*compiled, facts).applies == yox::decision::Truth::kTrue;
    }
    return [&applies, here] { applies += here; };
  });
  return Grouped(applies) + " of " + Grouped(count.devices);
}

// Sizes and times of the files; what is in a database is not looked at.
std::string StateOf(const std::vector<std::string>& sources) {
  std::string state;
  for (const std::string& source : sources) {
    std::error_code error;
    const std::filesystem::path path = PathOf(source);
    const auto size = std::filesystem::file_size(path, error);
    state += (error ? "-" : std::to_string(size)) + ",";
    const auto time = std::filesystem::last_write_time(path, error);
    state += (error ? "-" : std::to_string(time.time_since_epoch().count())) + "\n";
  }
  return state;
}

// The server between an editor and the fleet. The fleet is asked on a thread of its own, so that
// the answer to an edit does not wait for it.
class Session {
 public:
  explicit Session(LanguageServer::Settings settings) : server_(std::move(settings)) {}

  // `stop` is called before the end, to make work on the fleet end soon.
  int Run(const std::function<void()>& stop) {
    std::thread worker([this] { AskFleet(); });
    int code = kRefused;
    std::exception_ptr error;
    try {
      code = Converse();
    } catch (...) {
      error = std::current_exception();
    }
    stop();
    {
      const yox::MutexLock lock(mutex_);
      ends_ = true;
    }
    changed_.NotifyAll();
    worker.join();
    if (error) std::rethrow_exception(error);
    return code;
  }

 private:
  int Converse() {
    while (const auto message = ReadMessage(std::cin)) {
      const yox::MutexLock lock(mutex_);
      Send(server_.Take(*message));
      if (server_.has_ended()) return server_.exit_code();
      // With another message at hand, which may be the next edit, checking waits.
      if (std::cin.rdbuf()->in_avail() <= 0) Send(server_.CheckEdited());
      changed_.NotifyAll();
    }
    return kDone;  // the editor is gone
  }

  void AskFleet() {
    yox::MutexLock lock(mutex_);
    while (!ends_) {
      const LanguageServer::FleetWork work = server_.TakeFleetWork();
      if (!work) {
        changed_.Wait(lock);
        continue;
      }
      lock.Unlock();
      const auto complete = work();
      lock.Lock();
      if (ends_) return;
      try {
        Send(complete());
      } catch (const OutputClosed&) {
        return;  // the other thread finds that too
      }
    }
  }

  yox::Mutex mutex_;  // of the output too
  yox::ConditionVariable changed_;
  LanguageServer server_ YOX_GUARDED_BY(mutex_);
  bool ends_ YOX_GUARDED_BY(mutex_) = false;
};

int Lsp(const GlobalOptions& global, const std::vector<std::string>& facts) {
  const ChosenDevice device(global);
  const auto& clock = yox::platform::Platform::Get().clock();
  LanguageServer::Settings settings;
  settings.today = clock.ToLocalDate(clock.Now());
  if (global.device) {
    settings.device = [](yox::decision::FilterField field, const std::string& text) {
      std::string line;
      for (const auto& fact : FactsOfField(field, text)) {
        line += (line.empty() ? "" : "; ") + FactText(fact);
      }
      return line;
    };
  }
  std::atomic<bool> stops = false;
  const auto check_stop = [&stops] {
    if (stops.load(std::memory_order_relaxed)) throw Stopped();
  };
  if (!facts.empty()) {
    settings.fleet_count = [=, &clock](const std::string& text) {
      return CountedOn(facts, text, clock.Now(), check_stop);
    };
    settings.fleet_lint = [=](const ApplicabilityFilter& list) {
      const FactsInput input{
          .sources = facts, .skip_bad = true, .jobs = kFleetThreads, .lists = {&list, 1}};
      return std::move(LintOnFleet(input, check_stop).of_lists.front());
    };
    settings.fleet_state = [=] { return StateOf(facts); };
  }
  std::ios::sync_with_stdio(false);
  return Session(std::move(settings)).Run([&stops] { stops = true; });
}

}  // namespace

Command LspCommand() {
  const auto facts = std::make_shared<std::vector<std::string>>();
  return {.name = "lsp",
          .help = "A language server for filter lists on standard input and output",
          .options = {{.name = "--facts",
                       .type = "FILE",
                       .help = "Say to how many devices of these facts documents a list applies, "
                               "and what none of them has; may be given several times",
                       .target = facts.get()}},
          .run = [facts](const GlobalOptions& global) { return Lsp(global, *facts); }};
}

}  // namespace yoxctl
