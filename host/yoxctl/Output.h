#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "yox/base/Printable.h"

namespace yoxctl {

enum ExitCode : int {
  kDone = 0,
  kNegative = 1,  // done, and the answer is no
  kRefused = 2,   // usage, or input that cannot be read
};

// What is wrong with what the user gave, as one line.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Writes UTF-8 to standard output, all of it. Throws Refusal when it cannot: the disk is full, or
// nobody reads the other end.
void Print(std::string_view text);

// Writes the file that an argument names: all of it, or it stays as it was. What stands there and
// is no file, such as a device, is written to. Throws Refusal when it cannot.
void WriteFile(const std::string& argument, std::string_view bytes);

using yox::OneLine;

// Writes "yoxctl: MESSAGE" to standard error, as one line.
void Complain(std::string_view message);

}  // namespace yoxctl
