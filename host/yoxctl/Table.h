#pragma once

#include <cstddef>
#include <string>

#include "host/yoxctl/Paint.h"

namespace yoxctl {

// What is written for people fits into this many columns, where its words allow: indented, too,
// into a terminal's 80.
inline constexpr std::size_t kLineColumns = 76;

// The columns that a text takes in a terminal, near enough: one for each code point.
std::size_t Columns(const std::string& text);
std::string Padded(std::string text, std::size_t columns);

// Lines that are written from left to right.
class Lines {
 public:
  explicit Lines(const Painter& paint) : paint_(paint) {}

  // Goes to a column, on a new line when this one is already further.
  Lines& To(std::size_t column);
  Lines& NewLine();
  Lines& Write(Paint paint, const std::string& text);
  // Breaks the text between its words, each line from the present column on.
  Lines& WriteWords(Paint paint, std::string text, std::size_t hanging = 0);

  std::size_t column() const { return column_; }
  bool Fits(std::size_t columns) const { return column_ + columns <= kLineColumns; }
  // With the end of the last line.
  std::string Take() &&;

 private:
  const Painter& paint_;
  std::string text_;
  std::size_t column_ = 0;
};

}  // namespace yoxctl
