#include "yox/base/Printable.h"

#include <algorithm>
#include <iterator>

#include "yox/base/Utf8.h"

namespace yox {
namespace {

constexpr std::size_t kMaxPrintableSize = 120;

struct Range {
  char32_t first;
  char32_t last;
};

// Unicode's general categories Cc, Cf, Zl and Zp, with the unassigned points among them that are
// reserved for format characters.
constexpr Range kUnprintable[] = {{0x0000, 0x001F},   {0x007F, 0x009F},   {0x00AD, 0x00AD},
                                  {0x0600, 0x0605},   {0x061C, 0x061C},   {0x06DD, 0x06DD},
                                  {0x070F, 0x070F},   {0x0890, 0x0891},   {0x08E2, 0x08E2},
                                  {0x180E, 0x180E},   {0x200B, 0x200F},   {0x2028, 0x202E},
                                  {0x2060, 0x206F},   {0xFEFF, 0xFEFF},   {0xFFF0, 0xFFFB},
                                  {0x110BD, 0x110BD}, {0x110CD, 0x110CD}, {0x13430, 0x1343F},
                                  {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE007F}};

bool IsUnprintable(char32_t point) {
  const Range* const range = std::ranges::lower_bound(kUnprintable, point, {}, &Range::last);
  return range != std::end(kUnprintable) && range->first <= point;
}

void AppendEscapedUnit(std::string& out, unsigned unit) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[(unit >> shift) & 0xF];
}

void AppendEscaped(std::string& out, char32_t point) {
  if (point >= 0x10000) {
    AppendEscapedUnit(out, static_cast<unsigned>(0xD800 + ((point - 0x10000) >> 10)));
    point = 0xDC00 + ((point - 0x10000) & 0x3FF);
  }
  AppendEscapedUnit(out, static_cast<unsigned>(point));
}

// Sets `cut` when the text goes on after more than `max_size` bytes of the result.
std::string Escaped(std::string_view utf8, std::size_t max_size, bool& cut) {
  std::string line;
  line.reserve(std::min(utf8.size(), max_size));
  for (std::size_t i = 0; i < utf8.size();) {
    if (line.size() >= max_size) {
      cut = true;
      break;
    }
    const char32_t point = NextPoint(utf8, i);
    if (point == kMalformedPoint) {
      AppendUtf8(line, kReplacementPoint);
    } else if (IsUnprintable(point)) {
      AppendEscaped(line, point);
    } else {
      AppendUtf8(line, point);
    }
  }
  return line;
}

}  // namespace

std::string OneLine(std::string_view utf8) {
  bool cut = false;
  return Escaped(utf8, std::string_view::npos, cut);
}

std::string Printable(std::string_view utf8) {
  bool cut = false;
  std::string line = Escaped(utf8, kMaxPrintableSize, cut);
  return cut ? line + "..." : line;
}

}  // namespace yox
