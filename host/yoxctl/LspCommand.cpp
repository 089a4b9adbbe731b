#include <charconv>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "yox/base/Json.h"
#include "yox/base/String.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
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

int Lsp(const GlobalOptions& global) {
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
  return {.name = "lsp",
          .help = "A language server for filter lists on standard input and output",
          .run = [](const GlobalOptions& global) { return Lsp(global); }};
}

}  // namespace yoxctl
