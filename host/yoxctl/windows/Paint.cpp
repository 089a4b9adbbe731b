#include "host/yoxctl/Paint.h"

#include <windows.h>

namespace yoxctl {

bool OutputTakesColours() {
  HANDLE const console = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  return GetConsoleMode(console, &mode) != 0 &&
         SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

}  // namespace yoxctl
