#include "host/yoxctl/Output.h"

#include <windows.h>

#include <cerrno>

#include "host/yoxctl/Paint.h"

namespace yoxctl {

bool OutputTakesColours() {
  HANDLE const console = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  return GetConsoleMode(console, &mode) != 0 &&
         SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

bool ErrorsAreOnTerminal() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

std::size_t TerminalColumns() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) == 0) return 0;
  return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

// The C runtime reports ERROR_NO_DATA, which is what writing to a closed pipe gives, as EINVAL.
bool IsClosedPipe(int error) {
  return error == EPIPE ||
         (error == EINVAL && GetFileType(GetStdHandle(STD_OUTPUT_HANDLE)) == FILE_TYPE_PIPE);
}

}  // namespace yoxctl
