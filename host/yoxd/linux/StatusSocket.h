#pragma once

#include <sys/types.h>

#include <list>
#include <string>

#include "host/yoxd/Part.h"
#include "host/yoxd/StatusRequest.h"

namespace yoxd {

// Serves the status on a Unix socket, as HTTP: GET /status, GET /metrics. The socket has mode 0600,
// or 0660 with a group; besides, the account of each peer is compared: root, this account, or a
// member of the group.
class StatusSocket final : public Part {
 public:
  // Throws std::runtime_error, with the path, when the socket cannot be created. A socket of a
  // process that has ended is replaced.
  StatusSocket(const std::string& path, const std::string& group, StatusAnswer answer);
  ~StatusSocket() override;

  void Watch(std::vector<Watched>& watched) override;
  std::optional<Moment> Due() const override;
  void Run(Moment now) override;

 private:
  struct Peer {
    int descriptor;
    Moment end;  // a peer that does not read or write is left
    std::string request;
    std::string response;
    bool done = false;
  };

  void Accept();
  bool MayAsk(int descriptor) const;
  void Serve(Peer& peer);

  std::string path_;
  std::string group_;
  gid_t group_id_ = 0;
  StatusAnswer answer_;
  int descriptor_ = -1;
  std::list<Peer> peers_;
};

}  // namespace yoxd
