#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "yox/base/WString.h"

namespace yoxd {

// Writes a document on one line, in UTF-8, with the members of an object sorted by key.
std::string JsonLine(const Json::Value& document);

// Reads a JSON document strictly: no comments, no repeated keys, nothing after the value. Throws
// yox::DocumentError with line and column.
Json::Value ReadJson(std::string_view utf8);

std::string Narrow(yox::WStringView text);
yox::WString Wide(std::string_view utf8);

// A moment as "2026-03-01T12:00:00Z"; seconds since 1970-01-01 UTC.
std::string UtcText(std::int64_t moment);

// Returns whether the text may be a level of an MQTT topic and a file's name: 1 to 64 of A-Z, a-z,
// 0-9, "-", "_" and ".", and not a dot at the beginning.
bool IsName(std::string_view text);

// A-Z in small letters; all else as it is.
std::string Lower(std::string text);

// 64 bits of a text for telling two texts apart (FNV-1a).
std::uint64_t Fingerprint(std::string_view text);
// 16 lower-case digits.
std::string Hexadecimal(std::uint64_t number);

}  // namespace yoxd
