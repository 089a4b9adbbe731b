#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "yox/platform/registry/linux/RegistryWatcher.h"

#include "tests/support/TemporaryFolder.h"

namespace yox::platform {
namespace {

// Whether every other thread of the process waits for something.
bool OthersSleep() {
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    if (thread.path().filename() == std::to_string(gettid())) continue;
    std::ifstream stream(thread.path() / "stat");
    std::string line;
    std::getline(stream, line);
    const std::size_t name = line.rfind(") ");
    if (name == std::string::npos || line.at(name + 2) != 'S') return false;
  }
  return true;
}

TEST(RegistryWatcherTest, SleepsWhileNothingChanges) {
  const yox_test::TemporaryFolder temporary;
  RegistryWatcher watcher(temporary.path() / "store", std::chrono::seconds(10),
                          [](const std::exception&) {});
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  bool sleeps = false;
  while (!(sleeps = OthersSleep()) && std::chrono::steady_clock::now() < end) {
    std::this_thread::yield();
  }
  EXPECT_TRUE(sleeps);
}

}  // namespace
}  // namespace yox::platform
