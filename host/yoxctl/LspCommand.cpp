#include <charconv>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "yox/base/Json.h"
#include "yox/base/String.h"
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

// To how many devices of facts documents a list applies; empty for what is no list.
std::string CountedOn(const std::vector<std::string>& sources, const std::string& text) {
  ApplicabilityFilter list;
  try {
    list = yox::decision::ReadFilterDocument(text);
  } catch (const yox::DocumentError&) {
    return {};
  }
  yox::decision::Question question;
  question.now = yox::platform::Platform::Get().clock().Now();
  const auto compiled = list.snapshot();
  std::uint64_t applies = 0;
  const FactsInput input{.sources = sources, .skip_bad = true, .lists = {&list, 1}};
  const FactsCount count = ReadFleet(input, [&](FactsBatch& batch) {
    std::uint64_t here = 0;
    while (batch.Next()) {
      yox::facts::LineFacts facts(batch.line(), question);
      here += yox::decision::Decide(*compiled, facts).applies == yox::decision::Truth::kTrue;
    }
    return [&applies, here] { applies += here; };
  });
  return Grouped(applies) + " of " + Grouped(count.devices);
}

int Lsp(const GlobalOptions& global, const std::vector<std::string>& facts) {
  LanguageServer::Settings settings;
  settings.today = Today(global);
  std::optional<ChosenDevice> device;
  if (global.device) {
    device.emplace(global);
    settings.device = [](yox::decision::FilterField field, const std::string& text) {
      std::string line;
      for (const auto& fact : FactsOfField(field, text)) {
        line += (line.empty() ? "" : "; ") + FactText(fact);
      }
      return line;
    };
  }
  if (!facts.empty()) {
    settings.fleet = [facts](const std::string& text) { return CountedOn(facts, text); };
  }
  LanguageServer server(std::move(settings));
  std::ios::sync_with_stdio(false);
  while (!server.has_ended()) {
    const auto message = ReadMessage(std::cin);
    if (!message) return kDone;  // the editor is gone
    Send(server.Take(*message));
    // With another message at hand, which may be the next edit, checking waits.
    if (std::cin.rdbuf()->in_avail() <= 0) Send(server.CheckEdited());
  }
  return server.exit_code();
}

}  // namespace

Command LspCommand() {
  const auto facts = std::make_shared<std::vector<std::string>>();
  return {.name = "lsp",
          .help = "A language server for filter lists on standard input and output",
          .options = {{.name = "--facts",
                       .type = "FILE",
                       .help = "Say of a list to how many devices of these facts documents it "
                               "applies; may be given several times",
                       .target = facts.get()}},
          .run = [facts](const GlobalOptions& global) { return Lsp(global, *facts); }};
}

}  // namespace yoxctl
