#include "yox/base/Document.h"

#include <fstream>
#include <string>
#include <system_error>

namespace yox {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxPrintedSize = 120;

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// Of U+0080 to U+009F, which a terminal may obey as it does those below U+0020.
constexpr char kLeadOfLateControls = '\xC2';

bool IsControl(std::string_view utf8, std::size_t at) {
  const auto byte = static_cast<unsigned char>(utf8[at]);
  if (byte < 0x20 || byte == 0x7F) return true;
  return utf8[at] == kLeadOfLateControls && at + 1 < utf8.size() &&
         static_cast<unsigned char>(utf8[at + 1]) >= 0x80 &&
         static_cast<unsigned char>(utf8[at + 1]) < 0xA0;
}

}  // namespace

std::string ReadDocumentFile(const fs::path& file, std::size_t longest) {
  const std::string too_long = "longer than " + std::to_string(longest >> 20) + " MiB";
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (status.type() == fs::file_type::not_found) throw DocumentError("no such file");
  if (fs::is_directory(status)) throw DocumentError("is a directory");
  if (error) throw DocumentError("cannot be opened");
  if (!fs::is_regular_file(status)) throw DocumentError("is not a regular file");
  if (const auto size = fs::file_size(file, error); !error && size > longest) {
    throw DocumentError(too_long);
  }

  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw DocumentError("cannot be opened");
  std::string bytes;
  constexpr std::size_t kPiece = std::size_t{64} << 10;
  while (stream && bytes.size() <= longest) {
    const std::size_t before = bytes.size();
    bytes.resize(before + kPiece);
    stream.read(bytes.data() + before, kPiece);
    bytes.resize(before + static_cast<std::size_t>(stream.gcount()));
  }
  if (stream.bad()) throw DocumentError("cannot be read");
  if (bytes.size() > longest) throw DocumentError(too_long);
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.erase(0, 3);
  return bytes;
}

std::string Printable(std::string_view utf8) {
  std::string line;
  for (std::size_t at = 0; at < utf8.size(); ++at) {
    const char letter = utf8[at];
    if (line.size() >= kMaxPrintedSize && !IsContinuation(letter)) return line + "...";
    if (!IsControl(utf8, at)) {
      line += letter;
      continue;
    }
    if (letter == kLeadOfLateControls) ++at;  // the code point is that of the byte behind it
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(utf8[at]);
    line += "\\u00";
    line += kDigits[byte >> 4];
    line += kDigits[byte & 0xF];
  }
  return line;
}

}  // namespace yox
