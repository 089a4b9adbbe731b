#pragma once

#include <chrono>
#include <functional>

#include "yox/platform/waits/Event.h"

#include "host/yoxd/Part.h"

namespace yoxd {

// What a socket is ready for. A connection that has ended is readable.
struct SocketState {
  bool readable = false;
  bool writable = false;
};

// Lets the service wait for a socket together with everything else.
class SocketWatch {
 public:
  // What to wait for; `ready` is called as of every other part.
  Watched Watch(int socket, bool read, bool write,
                std::function<void(bool readable, bool writable)> ready);
  // Waits for this socket alone.
  static SocketState Wait(int socket, bool read, bool write, std::chrono::milliseconds limit);

 private:
  yox::platform::Event event_;  // that the system sets, where sockets are no handles to wait for
};

}  // namespace yoxd
