#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/Checkout.h"

namespace yox_test {

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

// For the first lines of a test.
#define YOX_NEEDS(bus) \
  if (!(bus).available()) GTEST_SKIP() << "needs dbus and python3-dbusmock"

// Sets an address at which no bus listens, for tests that must not see the machine's own.
inline void UseNoBus() { setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/dev/null/no-bus", 1); }

}  // namespace yox_test
