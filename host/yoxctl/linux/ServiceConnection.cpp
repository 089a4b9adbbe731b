#include "host/yoxctl/ServiceConnection.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

constexpr timeval kPatience{10, 0};

class Socket {
 public:
  explicit Socket(std::string name) : name_(std::move(name)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name_.size() >= sizeof address.sun_path) Fail("longer than the name of a socket may be");
    std::memcpy(address.sun_path, name_.data(), name_.size());
    descriptor_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor_ < 0) Fail(std::system_category().message(errno));
    setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
    setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience);
    if (connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      const int error = errno;
      close(descriptor_);
      Fail(error == ENOENT || error == ECONNREFUSED ? "the service does not run"
                                                    : std::system_category().message(error));
    }
  }
  ~Socket() { close(descriptor_); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  void Send(const std::string& text) const {
    if (send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(text.size())) {
      Fail(std::system_category().message(errno));
    }
  }
  std::string ReadAll() const {
    std::string text;
    std::array<char, 4096> bytes;
    while (true) {
      const ssize_t size = read(descriptor_, bytes.data(), bytes.size());
      if (size == 0) return text;
      if (size < 0) Fail(std::system_category().message(errno));
      text.append(bytes.data(), static_cast<std::size_t>(size));
    }
  }

 private:
  [[noreturn]] void Fail(const std::string& why) const {
    throw Refusal(NameOf(name_) + ": " + why);
  }

  std::string name_;
  int descriptor_ = -1;
};

}  // namespace

const char* DefaultServiceSocket() { return "/run/yox/yoxd.sock"; }

std::string AskService(const std::string& name, const std::string& path) {
  const Socket socket(name);
  socket.Send("GET " + path + " HTTP/1.0\r\n\r\n");
  const std::string response = socket.ReadAll();
  const std::size_t body = response.find("\r\n\r\n");
  // An empty one: the service looks at the account that asks.
  if (response.empty()) throw Refusal(NameOf(name) + ": this account may not ask the service");
  if (!response.starts_with("HTTP/1.0 200 ") || body == std::string::npos) {
    throw Refusal(NameOf(name) + ": the service has no " + path);
  }
  return response.substr(body + 4);
}

}  // namespace yoxctl
