#include "host/yoxctl/Table.h"

#include <algorithm>
#include <utility>

#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

// The beginning of `text` that fits, up to the end of a word; what is behind stays in `text`. A
// word that is longer than that stays whole.
std::string TakeLine(std::string& text, std::size_t columns) {
  std::size_t end = text.find(' ');
  for (std::size_t next = end; next != std::string::npos;) {
    next = text.find(' ', next + 1);
    if (Columns(text.substr(0, next)) > columns) break;
    end = next;
  }
  if (Columns(text) <= columns) end = std::string::npos;
  std::string line = text.substr(0, end);
  text.erase(0, end == std::string::npos ? end : end + 1);
  return line;
}

}  // namespace

std::size_t LineColumns() {
  static const std::size_t columns = [] {
    constexpr std::size_t kUsual = 76;
    constexpr std::size_t kLeast = 40;
    constexpr std::size_t kMost = 200;
    const std::size_t terminal = TerminalColumns();
    return terminal == 0 ? kUsual : std::clamp(terminal, kLeast, kMost);
  }();
  return columns;
}

std::size_t Columns(const std::string& text) {
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

std::string Padded(std::string text, std::size_t columns) {
  return text.append(columns - std::min(columns, Columns(text)), ' ');
}

Lines& Lines::To(std::size_t column) {
  if (column_ > column) NewLine();
  text_.append(column - column_, ' ');
  column_ = column;
  return *this;
}

Lines& Lines::NewLine() {
  text_ += '\n';
  column_ = 0;
  return *this;
}

Lines& Lines::Write(Paint paint, const std::string& text) {
  text_ += paint_(paint, text);
  column_ += Columns(text);
  return *this;
}

Lines& Lines::WriteWords(Paint paint, std::string text, std::size_t hanging) {
  const std::size_t column = column_ + hanging;
  while (!text.empty()) {
    Write(paint, TakeLine(text, LineColumns() - std::min(column_, LineColumns())));
    if (!text.empty()) NewLine().To(column);
  }
  return *this;
}

std::string Lines::Take() && {
  if (column_ != 0) NewLine();
  return std::move(text_);
}

}  // namespace yoxctl
