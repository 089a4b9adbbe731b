#include <poll.h>
#include <sys/stat.h>

#include <cstdlib>
#include <utility>

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/SocketWatch.h"

namespace yoxd {

void SetVariable(const std::string& name, const std::string& value) {
  setenv(name.c_str(), value.c_str(), 1);
}

std::string DefaultConfigurationFile() { return "/etc/yox/yoxd.json"; }

bool IsPrivate(const std::filesystem::path& file) {
  struct stat facts {};
  return stat(file.c_str(), &facts) == 0 && (facts.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

void WaitFor(std::span<const Watched> watched, std::optional<std::chrono::milliseconds> limit) {
  std::vector<pollfd> descriptors;
  for (const Watched& entry : watched) {
    const int events = (entry.read ? POLLIN : 0) | (entry.write ? POLLOUT : 0);
    descriptors.push_back({entry.descriptor, static_cast<short>(events), 0});
  }
  const int milliseconds = limit ? static_cast<int>(limit->count()) : -1;
  if (poll(descriptors.data(), descriptors.size(), milliseconds) <= 0) return;
  for (std::size_t i = 0; i < descriptors.size(); ++i) {
    const int events = descriptors[i].revents;
    const bool readable = (events & (POLLIN | POLLHUP | POLLERR)) != 0;
    const bool writable = (events & POLLOUT) != 0;
    if ((readable || writable) && watched[i].ready) watched[i].ready(readable, writable);
  }
}

Watched SocketWatch::Watch(int socket, bool read, bool write,
                           std::function<void(bool readable, bool writable)> ready) {
  return {socket, read, write, std::move(ready)};
}

SocketState SocketWatch::Wait(int socket, bool read, bool write, std::chrono::milliseconds limit) {
  const int events = (read ? POLLIN : 0) | (write ? POLLOUT : 0);
  pollfd entry{socket, static_cast<short>(events), 0};
  if (poll(&entry, 1, static_cast<int>(limit.count())) <= 0) return {};
  return {(entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0, (entry.revents & POLLOUT) != 0};
}

}  // namespace yoxd
