#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/linux/StatusSocket.h"
#include "tests/support/TemporaryFolder.h"

namespace yoxd {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class StatusSocketTest : public testing::Test {
 protected:
  StatusSocketTest() {
    for (int& peer : peers_) {
      peer = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      std::memcpy(address.sun_path, path_.data(), path_.size());
      EXPECT_EQ(connect(peer, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
  }
  ~StatusSocketTest() override {
    for (const int peer : peers_) close(peer);
  }

  // Lets the socket do what there is to do, and returns what it then waits for.
  std::vector<Watched> Serve(Moment now) {
    std::vector<Watched> watched;
    for (int turn = 0; turn < 100; ++turn) {
      watched.clear();
      socket_.Watch(watched);
      WaitFor(watched, milliseconds(0));
      socket_.Run(now);
    }
    watched.clear();
    socket_.Watch(watched);
    return watched;
  }

  yox_test::TemporaryFolder root_;
  const std::string path_ = (root_.path() / "socket").string();
  StatusSocket socket_{path_, "", [](std::string_view path) {
                         return StatusDocument{"text/plain", "this is " + std::string(path)};
                       }};
  int peers_[20];
  const Moment now_ = SteadyClock::now();
};

TEST_F(StatusSocketTest, SixteenPeersAreServedAtOnce) {
  EXPECT_EQ(Serve(now_).size(), 16);  // each of them, and no other one
  close(peers_[0]);
  peers_[0] = -1;
  EXPECT_EQ(Serve(now_).size(), 16);  // one that waited has its place
}

TEST_F(StatusSocketTest, APeerThatDoesNotAskIsLeft) {
  Serve(now_);
  ASSERT_TRUE(socket_.Due());
  EXPECT_LE(*socket_.Due(), SteadyClock::now() + seconds(5));
  EXPECT_EQ(Serve(*socket_.Due() - milliseconds(1)).size(), 16);
  socket_.Run(SteadyClock::now() + seconds(5));
  EXPECT_EQ(Serve(now_).size(), 1 + 4);  // the four that waited have their places
}

TEST_F(StatusSocketTest, ARequestInPiecesIsAnswered) {
  for (const char piece : std::string("GET /x HTTP/1.0\r\n\r\n")) {
    ASSERT_EQ(write(peers_[0], &piece, 1), 1);
    Serve(now_);
  }
  char response[1'000] = {};
  ASSERT_GT(read(peers_[0], response, sizeof response - 1), 0);
  EXPECT_STREQ(response,
               "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 10\r\n"
               "Connection: close\r\n\r\nthis is /x");
  EXPECT_EQ(read(peers_[0], response, sizeof response), 0);  // and the connection is ended
}

}  // namespace
}  // namespace yoxd
