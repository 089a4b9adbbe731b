#include "yox/base/Pem.h"

#include <cstdint>
#include <utility>

#include "yox/base/String.h"

namespace yox {
namespace {

constexpr std::string_view kDashes = "-----";

// Returns the label of a line "-----BEGIN LABEL-----"; `word` is "BEGIN " or "END ".
std::optional<std::string_view> LabelOf(std::string_view line, std::string_view word) {
  if (line.size() < 2 * kDashes.size() + word.size() || !line.starts_with(kDashes) ||
      !line.ends_with(kDashes)) {
    return std::nullopt;
  }
  line = line.substr(kDashes.size(), line.size() - 2 * kDashes.size());
  if (!line.starts_with(word)) return std::nullopt;
  return line.substr(word.size());
}

std::string_view WithoutTrailingBlanks(std::string_view line) {
  const std::size_t last = line.find_last_not_of(" \t\r\v\f");
  return line.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

}  // namespace

bool IsDerSequence(std::string_view der) {
  constexpr char kSequence = 0x30;
  if (der.size() < 2 || der[0] != kSequence) return false;
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(der[i]); };
  std::size_t length = byte(1);
  std::size_t header = 2;
  if (length >= 0x80) {
    const std::size_t count = length & 0x7F;
    if (count == 0 || count > sizeof(std::uint32_t) || der.size() < header + count) return false;
    length = 0;
    for (std::size_t i = 0; i < count; ++i) length = length << 8 | byte(header + i);
    header += count;
  }
  return der.size() - header == length;
}

std::optional<std::vector<PemBlock>> ReadPem(std::string_view text) {
  std::vector<PemBlock> blocks;
  std::optional<PemBlock> open;
  std::string body;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t feed = text.find('\n', at);
    const std::size_t next = feed == std::string_view::npos ? text.size() : feed + 1;
    const std::string_view line = WithoutTrailingBlanks(
        text.substr(at, feed == std::string_view::npos ? std::string_view::npos : feed - at));
    if (!line.starts_with(kDashes)) {
      if (open) (body += line) += '\n';
    } else if (!open) {
      const auto label = LabelOf(line, "BEGIN ");
      if (!label) return std::nullopt;
      open = PemBlock{at, 0, std::string(*label), {}};
      body.clear();
    } else {
      if (LabelOf(line, "END ") != open->label) return std::nullopt;
      open->der = String::Base64toString(body);
      open->end = next;
      if (!IsDerSequence(open->der)) return std::nullopt;
      blocks.push_back(*std::move(open));
      open.reset();
    }
    at = next;
  }
  if (open) return std::nullopt;
  return blocks;
}

}  // namespace yox
