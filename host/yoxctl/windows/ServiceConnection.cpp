#include "host/yoxctl/ServiceConnection.h"

#include <windows.h>

#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string_view>
#include <system_error>

#include "yox/base/String.h"

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

constexpr std::string_view kPipes = "\\\\.\\pipe\\";
constexpr DWORD kPatienceMilliseconds = 10'000;
// All but FILE_APPEND_DATA, which is the right to create an instance of the pipe.
constexpr DWORD kAccess = FILE_GENERIC_READ | (FILE_GENERIC_WRITE & ~DWORD{FILE_APPEND_DATA});

class Pipe {
 public:
  // `name` is the pipe's, or that of the file that has the pipe's name.
  explicit Pipe(const std::string& name) : name_(name) {
    std::string pipe = name;
    if (!name.starts_with(kPipes)) {
      std::ifstream file(PathOf(name), std::ios::binary);
      pipe.assign(std::istreambuf_iterator<char>(file), {});
      if (!pipe.starts_with(kPipes)) Fail("the service does not run");
    }
    const yox::WString wide = YOX::String::UTF8ToUTF16(pipe);
    while (true) {
      // A server that is not the service may learn who asks, and not act as that account.
      handle_ = CreateFileW(wide.c_str(), kAccess, 0, nullptr, OPEN_EXISTING,
                            FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION,
                            nullptr);
      if (handle_ != INVALID_HANDLE_VALUE) return;
      // All ends are in use: one becomes free.
      if (GetLastError() != ERROR_PIPE_BUSY ||
          WaitNamedPipeW(wide.c_str(), kPatienceMilliseconds) == FALSE) {
        break;
      }
    }
    const DWORD error = GetLastError();
    if (error == ERROR_ACCESS_DENIED) Fail("this account may not ask the service");
    if (error == ERROR_FILE_NOT_FOUND) Fail("the service does not run");
    Fail(error);
  }
  ~Pipe() { CloseHandle(handle_); }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  void Send(const std::string& text) {
    Run([&](OVERLAPPED* operation) {
      return WriteFile(handle_, text.data(), static_cast<DWORD>(text.size()), nullptr, operation);
    });
  }
  // Returns what came; empty at the end.
  std::string Read() {
    std::array<char, 4'096> bytes;
    const DWORD size = Run([&](OVERLAPPED* operation) {
      return ReadFile(handle_, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, operation);
    });
    return {bytes.data(), size};
  }

 private:
  template <class Operation>
  DWORD Run(Operation begin) {
    OVERLAPPED operation{};
    const std::unique_ptr<void, decltype(&CloseHandle)> done(
        CreateEventW(nullptr, TRUE, FALSE, nullptr), &CloseHandle);
    operation.hEvent = done.get();
    DWORD size = 0;
    if (begin(&operation) == FALSE && GetLastError() != ERROR_IO_PENDING) return Ended();
    if (WaitForSingleObject(operation.hEvent, kPatienceMilliseconds) != WAIT_OBJECT_0) {
      CancelIoEx(handle_, &operation);
      GetOverlappedResult(handle_, &operation, &size, TRUE);
      Fail("the service does not reply");
    }
    return GetOverlappedResult(handle_, &operation, &size, FALSE) != FALSE ? size : Ended();
  }
  // For an operation that failed: 0 when the service has closed its end.
  DWORD Ended() const {
    const DWORD error = GetLastError();
    if (error != ERROR_BROKEN_PIPE && error != ERROR_PIPE_NOT_CONNECTED) Fail(error);
    return 0;
  }
  [[noreturn]] void Fail(DWORD error) const {
    Fail(std::system_category().message(static_cast<int>(error)));
  }
  [[noreturn]] void Fail(const std::string& why) const {
    throw Refusal(NameOf(name_) + ": " + why);
  }

  const std::string name_;
  HANDLE handle_ = INVALID_HANDLE_VALUE;
};

// Where the response ends, once its head is there.
std::size_t EndOf(const std::string& response) {
  constexpr std::string_view kLength = "\r\nContent-Length: ";
  const std::size_t body = response.find("\r\n\r\n");
  const std::size_t length = response.find(kLength);
  std::size_t size = 0;
  if (body == std::string::npos || length > body) return std::string::npos;
  std::from_chars(response.data() + length + kLength.size(), response.data() + body, size);
  return body + 4 + size;
}

}  // namespace

const char* DefaultServiceSocket() { return "\\\\.\\pipe\\yoxd"; }

std::string AskService(const std::string& name, const std::string& path) {
  Pipe pipe(name);
  pipe.Send("GET " + path + " HTTP/1.0\r\n\r\n");
  std::string response;
  // The service keeps its end open until this one is closed.
  while (response.size() < EndOf(response)) {
    const std::string more = pipe.Read();
    if (more.empty()) throw Refusal(NameOf(name) + ": the service does not reply");
    response += more;
  }
  if (!response.starts_with("HTTP/1.0 200 ")) {
    throw Refusal(NameOf(name) + ": the service has no " + path);
  }
  return response.substr(response.find("\r\n\r\n") + 4);
}

}  // namespace yoxctl
