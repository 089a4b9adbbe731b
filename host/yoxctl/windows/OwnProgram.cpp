#include "host/yoxctl/OwnProgram.h"

#include <windows.h>

#include <array>

#include "yox/base/String.h"

#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

[[noreturn]] void Fail() {
  throw Refusal("yoxctl cannot start itself: error " + std::to_string(GetLastError()));
}

// As CommandLineToArgvW reads it back: backslashes are doubled where a quote is behind them.
void AppendQuoted(std::wstring& line, const std::wstring& argument) {
  line += L" \"";
  std::size_t backslashes = 0;
  for (const wchar_t unit : argument) {
    if (unit == L'"') line.append(backslashes + 1, L'\\');
    backslashes = unit == L'\\' ? backslashes + 1 : 0;
    line += unit;
  }
  line.append(backslashes, L'\\');
  line += L'"';
}

std::wstring OwnPath() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

std::string ReadAll(HANDLE file) {
  std::string text;
  std::array<char, 4096> buffer;
  DWORD count = 0;
  while (ReadFile(file, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) != 0 &&
         count > 0) {
    text.append(buffer.data(), count);
  }
  return text;
}

}  // namespace

Ended RunOwnProgram(const std::vector<std::string>& arguments) {
  const std::wstring path = OwnPath();
  std::wstring line = L"\"" + path + L"\"";
  for (const std::string& argument : arguments) {
    AppendQuoted(line, YOX::String::UTF8ToUTF16(argument));
  }

  HANDLE ours = nullptr;
  HANDLE its = nullptr;
  if (CreatePipe(&ours, &its, nullptr, 0) == 0) Fail();
  SetHandleInformation(its, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = its;
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION process{};
  const BOOL started = CreateProcessW(path.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                      nullptr, &startup, &process);
  CloseHandle(its);
  if (started == 0) {
    CloseHandle(ours);
    Fail();
  }
  Ended ended;
  ended.output = ReadAll(ours);
  CloseHandle(ours);
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(process.hProcess, &code);
  ended.code = static_cast<int>(code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return ended;
}

}  // namespace yoxctl
