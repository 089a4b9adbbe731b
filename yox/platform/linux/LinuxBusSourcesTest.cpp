#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "yox/platform/system/linux/LinuxJoinState.h"
#include "yox/platform/system/linux/LinuxServices.h"
#include "yox/platform/users/linux/LinuxUsers.h"

#include "tests/support/Checkout.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace yox::literals;
using namespace yox::platform;

// A real bus with mocked services, in the place of the system's for its lifetime.
class MockedBus {
 public:
  explicit MockedBus(std::vector<std::string> services) {
    int input[2], output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    services.insert(services.begin(), (yox_test::Checkout() / "tests/system-bus").string());
    std::vector<char*> arguments;
    for (std::string& service : services) arguments.push_back(service.data());
    arguments.push_back(nullptr);
    posix_spawn(&process_, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    input_ = input[1];
    char byte = 0;
    while (read(output[0], &byte, 1) == 1 && byte != '\n') address_ += byte;
    close(output[0]);
    if (available()) setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), 1);
  }
  ~MockedBus() {
    close(input_);
    if (process_ > 0) waitpid(process_, nullptr, 0);
  }
  MockedBus(const MockedBus&) = delete;
  MockedBus& operator=(const MockedBus&) = delete;

  bool available() const { return address_.starts_with("unix:"); }

 private:
  pid_t process_ = 0;
  int input_ = -1;
  std::string address_;
};

#define NEEDS(bus) \
  if (!(bus).available()) GTEST_SKIP() << "needs dbus and python3-dbusmock"

TEST(LinuxUsersTest, TheActiveUserOfASeatIsLoggedIn) {
  const MockedBus mocked({"logind"});
  NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  EXPECT_EQ(LinuxUsers(bus).LoggedInUserSid(), "S-1-22-1-1003"_w);
}

TEST(LinuxServicesTest, OnlyAnActiveUnitRuns) {
  const MockedBus mocked({"systemd"});
  NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  LinuxServices services(bus);
  EXPECT_TRUE(services.IsRunning("running"_wv));
  EXPECT_FALSE(services.IsRunning("stopped"_wv));
  EXPECT_FALSE(services.IsRunning("absent"_wv));
}

TEST(LinuxJoinStateTest, AConfiguredRealmIsADomain) {
  const MockedBus mocked({"joined"});
  NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  const JoinAnswer answer = LinuxJoinState(bus).Domain();
  EXPECT_EQ(answer.outcome, JoinAnswer::Outcome::kAsked);
  EXPECT_TRUE(answer.joined);
}

TEST(LinuxJoinStateTest, ADiscoveredRealmIsNoDomain) {
  const MockedBus mocked({"discovered"});
  NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  const JoinAnswer answer = LinuxJoinState(bus).Domain();
  EXPECT_EQ(answer.outcome, JoinAnswer::Outcome::kAsked);
  EXPECT_FALSE(answer.joined);
}

void ExpectUnknown(SystemBus& bus) {
  EXPECT_EQ(LinuxUsers(bus).LoggedInUserSid(), ""_w);
  EXPECT_FALSE(LinuxServices(bus).IsRunning("running"_wv));
  EXPECT_EQ(LinuxJoinState(bus).Domain().outcome, JoinAnswer::Outcome::kUnknown);
}

TEST(SystemBusTest, AnAbsentServiceIsUnknown) {
  const MockedBus mocked({});
  NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  ExpectUnknown(bus);
}

TEST(SystemBusTest, AnAbsentBusIsUnknown) {
  const yox_test::TemporaryFolder folder;
  const std::string address = "unix:path=" + (folder.path() / "none").string();
  setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
  SystemBus bus(std::chrono::seconds(20));
  ExpectUnknown(bus);
}

TEST(SystemBusTest, ABusThatHangsIsAskedOnce) {
  const yox_test::TemporaryFolder folder;
  const std::string path = folder.path() / "bus";
  setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  path.copy(name.sun_path, sizeof name.sun_path - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
  ASSERT_EQ(listen(listener, 8), 0);

  SystemBus bus(std::chrono::milliseconds(50));
  ExpectUnknown(bus);
  ExpectUnknown(bus);
  int connections = 0;
  for (int peer; (peer = accept(listener, nullptr, nullptr)) >= 0; ++connections) close(peer);
  EXPECT_EQ(connections, 1);
  close(listener);
}

}  // namespace
