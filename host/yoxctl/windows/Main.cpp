// clang-format off
#include <winsock2.h>  // before windows.h
#include <windows.h>   // before the headers that need it
#include <shellapi.h>
// clang-format on

#include <fcntl.h>
#include <io.h>
#include <stdio.h>

#include "yox/base/String.h"

#include "host/yoxctl/CommandLine.h"

namespace yoxctl {

void SetVariable(const std::string& name, const std::string& value) {
  SetEnvironmentVariableW(YOX::String::UTF8ToUTF16(name).c_str(),
                          YOX::String::UTF8ToUTF16(value).c_str());
}

}  // namespace yoxctl

int main() {
  // Text goes out as UTF-8 with plain line feeds, to consoles and files alike.
  SetConsoleOutputCP(CP_UTF8);
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);

  // The device's name, for its join state, is asked through Windows Sockets; they end with the
  // process.
  WSADATA sockets;
  WSAStartup(MAKEWORD(2, 2), &sockets);

  int count = 0;
  LPWSTR* const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(YOX::String::UTF16ToUTF8(wide[i]));
  LocalFree(wide);
  return yoxctl::Run(std::move(arguments));
}
