#pragma once

#include <cstddef>
#include <string>

#include "host/yoxctl/Paint.h"

namespace yoxctl {

// Text output is broken into lines of at most so many columns where its words allow: those of the
// terminal, at least 40 and at most 200; 76 where the output is no terminal.
std::size_t LineColumns();

// Returns the approximate width of a text (UTF-8) in a terminal: one column for each code point.
std::size_t Columns(const std::string& text);
// Appends spaces until the text has that many columns.
std::string Padded(std::string text, std::size_t columns);

// Builds lines of text with tabulated columns and word wrap.
class Lines {
 public:
  explicit Lines(const Painter& paint) : paint_(paint) {}

  // Moves to a column, on a new line if the current line is already longer.
  Lines& To(std::size_t column);
  Lines& NewLine();
  Lines& Write(Paint paint, const std::string& text);
  // Writes the text with line breaks between words. Each line begins at the current column, those
  // after the first `hanging` columns further right.
  Lines& WriteWords(Paint paint, std::string text, std::size_t hanging = 0);

  std::size_t column() const { return column_; }
  bool Fits(std::size_t columns) const { return column_ + columns <= LineColumns(); }
  // Returns the lines, each with its line feed.
  std::string Take() &&;

 private:
  const Painter& paint_;
  std::string text_;
  std::size_t column_ = 0;
};

}  // namespace yoxctl
