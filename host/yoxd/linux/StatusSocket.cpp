#include "host/yoxd/linux/StatusSocket.h"

#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/Journal.h"

namespace yoxd {
namespace {

constexpr std::size_t kMostPeers = 16;
constexpr auto kPatience = std::chrono::seconds(5);

}  // namespace

StatusSocket::StatusSocket(const std::string& path, const std::string& group, StatusAnswer answer)
    : path_(path), group_(group), answer_(std::move(answer)) {
  const auto fail = [this](const std::string& why) {
    if (descriptor_ >= 0) close(descriptor_);
    throw std::runtime_error(path_ + ": " + why);
  };
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof address.sun_path) fail("longer than the name of a socket may be");
  std::memcpy(address.sun_path, path_.data(), path_.size());
  descriptor_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor_ < 0) fail(std::system_category().message(errno));
  struct stat former {};
  if (lstat(path_.c_str(), &former) == 0) {
    if (!S_ISSOCK(former.st_mode)) fail("is there, and is not a socket");
    unlink(path_.c_str());  // the lock of the state folder says that its process has ended
  }
  // No other account can open the socket between its creation and its rights.
  const mode_t mask = umask(0177);
  const int bound = bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  const int error = errno;
  umask(mask);
  if (bound != 0) fail(std::system_category().message(error));
  if (!group_.empty()) {
    const struct group* const entry = getgrnam(group_.c_str());
    if (entry == nullptr) fail("there is no group " + group_);
    group_id_ = entry->gr_gid;
    if (chown(path_.c_str(), static_cast<uid_t>(-1), group_id_) != 0 ||
        chmod(path_.c_str(), 0660) != 0) {
      fail(std::system_category().message(errno));
    }
  }
  if (listen(descriptor_, 64) != 0) fail(std::system_category().message(errno));
}

StatusSocket::~StatusSocket() {
  unlink(path_.c_str());
  close(descriptor_);
  for (const Peer& peer : peers_) close(peer.descriptor);
}

void StatusSocket::Watch(std::vector<Watched>& watched) {
  if (peers_.size() < kMostPeers) {
    watched.push_back({descriptor_, true, false, [this](bool, bool) { Accept(); }});
  }
  for (Peer& peer : peers_) {
    const bool writes = !peer.response.empty();
    watched.push_back(
        {peer.descriptor, !writes, writes, [this, &peer](bool, bool) { Serve(peer); }});
  }
}

std::optional<Moment> StatusSocket::Due() const {
  std::optional<Moment> due;
  for (const Peer& peer : peers_) due = std::min(due.value_or(peer.end), peer.end);
  return due;
}

void StatusSocket::Run(Moment now) {
  std::erase_if(peers_, [now](const Peer& peer) {
    const bool leave = peer.done || now >= peer.end;
    if (leave) close(peer.descriptor);
    return leave;
  });
}

void StatusSocket::Accept() {
  const int peer = accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (peer < 0) return;
  if (!MayAsk(peer)) {
    close(peer);
    return;
  }
  peers_.push_back({peer, SteadyClock::now() + kPatience, {}, {}});
}

bool StatusSocket::MayAsk(int descriptor) const {
  ucred account{};
  socklen_t size = sizeof account;
  if (getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &account, &size) != 0) return false;
  if (account.uid == 0 || account.uid == geteuid()) return true;
  if (!group_.empty()) {
    if (account.gid == group_id_) return true;
    std::vector<gid_t> groups(65'536);
    size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    if (getsockopt(descriptor, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) == 0) {
      groups.resize(size / sizeof(gid_t));
      if (std::ranges::find(groups, group_id_) != groups.end()) return true;
    }
  }
  Journal::Warning("status", "account " + std::to_string(account.uid) + " may not ask");
  return false;
}

void StatusSocket::Serve(Peer& peer) {
  if (peer.response.empty()) {
    std::array<char, 1024> bytes;
    const ssize_t size = read(peer.descriptor, bytes.data(), bytes.size());
    if (size <= 0) {
      peer.done = size == 0 || (errno != EAGAIN && errno != EINTR);
      return;
    }
    peer.request.append(bytes.data(), static_cast<std::size_t>(size));
    auto response = StatusResponse(peer.request, answer_);
    if (!response) return;
    peer.response = *std::move(response);
  }
  const ssize_t size =
      send(peer.descriptor, peer.response.data(), peer.response.size(), MSG_NOSIGNAL);
  if (size < 0) {
    peer.done = errno != EAGAIN && errno != EINTR;
    return;
  }
  peer.response.erase(0, static_cast<std::size_t>(size));
  peer.done = peer.response.empty();
}

std::unique_ptr<Part> ServeStatus(const std::string& name, const std::string& group,
                                  StatusAnswer answer) {
  return std::make_unique<StatusSocket>(name, group, std::move(answer));
}

std::string DefaultStatusName(const std::filesystem::path& folder, bool /*chosen*/) {
  // systemd's, which outlives no run of the service.
  const char* const runtime = std::getenv("RUNTIME_DIRECTORY");
  const bool given = runtime != nullptr && *runtime != '\0';
  return PathText((given ? std::filesystem::path(runtime) : folder) / "yoxd.sock");
}

}  // namespace yoxd
