#include "host/yoxd/Text.h"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>

#include "yox/base/Document.h"
#include "yox/base/String.h"

namespace yoxd {

std::string JsonLine(const Json::Value& document) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, document);
}

namespace {

// The first of JsonCpp's messages, "* Line 2, Column 1\n  Missing ...\n", as "line 2, column 1:
// missing ...".
std::string FirstMessage(const std::string& messages) {
  int line = 0;
  int column = 0;
  if (std::sscanf(messages.c_str(), "* Line %d, Column %d", &line, &column) != 2) return messages;
  const std::size_t begin = std::min(messages.find("\n  "), messages.size() - 3) + 3;
  std::string what = messages.substr(begin, messages.find('\n', begin) - begin);
  what = Lower(what.substr(0, 1)) + what.substr(std::min<std::size_t>(what.size(), 1));
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + what;
}

}  // namespace

Json::Value ReadJson(std::string_view utf8) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["strictRoot"] = false;
  builder["stackLimit"] = yox::kMaxDocumentDepth;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value document;
  std::string errors;
  try {
    if (reader->parse(utf8.data(), utf8.data() + utf8.size(), &document, &errors)) return document;
  } catch (const Json::Exception& error) {
    errors = error.what();
  }
  throw yox::DocumentError("not JSON: " + yox::Printable(FirstMessage(errors)));
}

std::string Narrow(yox::WStringView text) { return YOX::String::UTF16ToUTF8(text); }
yox::WString Wide(std::string_view utf8) { return YOX::String::UTF8ToUTF16(utf8); }

std::string UtcText(std::int64_t moment) {
  namespace chrono = std::chrono;
  const chrono::sys_seconds time{chrono::seconds(moment)};
  const auto day = chrono::floor<chrono::days>(time);
  const chrono::year_month_day date(day);
  const chrono::hh_mm_ss clock(time - day);
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text.data();
}

bool IsName(std::string_view text) {
  constexpr std::string_view kAllowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
  return !text.empty() && text.size() <= 64 && text.front() != '.' &&
         text.find_first_not_of(kAllowed) == std::string_view::npos;
}

std::string Lower(std::string text) {
  std::ranges::transform(text, text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
  });
  return text;
}

std::uint64_t Fingerprint(std::string_view text) {
  std::uint64_t hash = 14695981039346656037ULL;
  for (const char byte : text) hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211ULL;
  return hash;
}

std::string Hexadecimal(std::uint64_t number) {
  std::string digits(16, '0');
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, number >>= 4) {
    *digit = "0123456789abcdef"[number & 15];
  }
  return digits;
}

}  // namespace yoxd
