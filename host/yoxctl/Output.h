#pragma once

#include <cstddef>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

#include "yox/base/Printable.h"

namespace yoxctl {

enum ExitCode : int {
  kDone = 0,
  kNegative = 1,  // done, with a negative result
  kRefused = 2,   // wrong usage, unreadable input or unwritable output
};

// Ends the program with kRefused and the message, one line that says what is wrong and where.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Ends the program quietly with kDone: the program that reads standard output, such as head(1), has
// read enough.
class OutputClosed : public std::exception {};

// Writes all of the text, UTF-8, to standard output. Throws OutputClosed if it is a pipe whose
// reader has closed it, and Refusal if it cannot be written for another reason, such as a full
// disk.
void Print(std::string_view text);

// Writes a file that is named by an argument. An existing file is replaced as a whole: on failure
// it keeps its former content. Something that is not a regular file, such as a device, is written
// to. Throws Refusal on failure.
void WriteFile(const std::string& argument, std::string_view bytes);

using yox::OneLine;

// Writes "yoxctl: MESSAGE" to standard error, as one line.
void Complain(std::string_view message);

// Returns whether standard error is a terminal. Each system has its own.
bool ErrorsAreOnTerminal();

// Returns how many columns the terminal has to which standard output goes; 0 if it is none. Each
// system has its own.
std::size_t TerminalColumns();

// Returns whether an errno value of a write to standard output means that it is a closed pipe. Each
// system has its own.
bool IsClosedPipe(int error);

}  // namespace yoxctl
