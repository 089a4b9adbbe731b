#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

#include "yox/platform/registry/RegistryContract.h"
#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/registry/linux/LinuxRegistry.h"
#include "yox/platform/registry/linux/RegistryWatcher.h"

#include "tests/support/TemporaryFolder.h"

namespace yox::platform {
namespace {

using namespace yox::literals;

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

// Waits until every other thread has been found asleep many times in a row: one that is busy is
// seen asleep now and then.
bool OthersComeToRest() {
  constexpr int kInARow = 30;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (int asleep = 0; std::chrono::steady_clock::now() < end;) {
    asleep = OthersSleep() ? asleep + 1 : 0;
    if (asleep == kInARow) return true;
    std::this_thread::yield();
  }
  return false;
}

class RegistryWatcherTest : public testing::Test {
 protected:
  RegistryWatcherTest() { EXPECT_EQ(registry_.CreateKey(key_), RegistryStatus::kOk); }

  std::filesystem::path folder() const { return temporary_.path() / "store"; }
  std::shared_ptr<RegistryWatcher::Watch> WatchAll() {
    auto watch = std::make_shared<RegistryWatcher::Watch>();
    watch->folded = FoldRegistryName("HKLM"_wv);
    watch->changed = reports_.Callback();
    return watch;
  }
  void Write() {
    EXPECT_EQ(registry_.SetValue(key_, "Name"_w, RegistryValue::Dword(++written_)),
              RegistryStatus::kOk);
  }

 private:
  const yox_test::TemporaryFolder temporary_;
  const RegistryKey key_{HKEY_LOCAL_MACHINE, "Key"_w, {}, {}};
  std::uint32_t written_ = 0;

 protected:
  LinuxRegistry registry_{[this] { return folder(); }, {}};
  yox_test::RegistryReports reports_;
};

void Ignore(const std::exception&) {}

TEST_F(RegistryWatcherTest, SleepsWhileNothingChanges) {
  RegistryWatcher watcher(folder(), std::chrono::seconds(10), Ignore);
  EXPECT_TRUE(OthersComeToRest());
  watcher.Add(WatchAll());
  EXPECT_TRUE(OthersComeToRest());
  Write();
  EXPECT_TRUE(reports_.WaitFor("set Key:Name"));
  EXPECT_TRUE(OthersComeToRest());
}

TEST_F(RegistryWatcherTest, ANewWatchIsToldOfCommitsThatWereSignalledBefore) {
  RegistryWatcher watcher(folder(), std::chrono::seconds(10), Ignore);
  Write();
  EXPECT_TRUE(OthersComeToRest());
  watcher.Add(WatchAll());
  EXPECT_TRUE(reports_.WaitFor("set Key:Name"));
}

// Run under ThreadSanitizer, this finds a member that is not guarded.
TEST_F(RegistryWatcherTest, WatchesComeAndGoWithoutACall) {
  for (int round = 0; round < 5; ++round) {
    RegistryWatcher watcher(folder(), std::chrono::seconds(10), Ignore);
    const auto watch = WatchAll();
    watch->seen = 1'000'000;
    watcher.Add(watch);
    EXPECT_TRUE(OthersComeToRest());
    // Otherwise the end finds one.
    if (round % 2 == 0) watcher.Remove(watch);
  }
  EXPECT_TRUE(reports_.All().empty());
}

#ifdef YOX_USES_UP_DESCRIPTORS

// Lets this process open so many files more while it lives.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t more) {
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &former_), 0);
    const int lowest = dup(STDERR_FILENO);
    close(lowest);
    const rlimit limit{static_cast<rlim_t>(lowest) + more, former_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  }
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &former_); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  rlimit former_{};
};

TEST_F(RegistryWatcherTest, ADescriptorThatIsMissingIsNamedByItsCall) {
  for (const char* const call : {"inotify_init1", "eventfd"}) {
    const DescriptorLimit limit(std::string(call) == "eventfd" ? 1 : 0);
    try {
      const RegistryWatcher watcher(folder(), std::chrono::seconds(10), Ignore);
      ADD_FAILURE() << "nothing was thrown";
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code().value(), EMFILE);
      EXPECT_EQ(std::string(error.what()).find(call), 0U) << error.what();
    }
  }
}

#endif  // YOX_USES_UP_DESCRIPTORS

// As in a service that was started without a standard input.
TEST_F(RegistryWatcherTest, ItsDescriptorsMayBeTheStandardOnes) {
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  {
    RegistryWatcher watcher(folder(), std::chrono::seconds(10), Ignore);
    watcher.Add(WatchAll());
    Write();
    EXPECT_TRUE(reports_.WaitFor("set Key:Name"));
  }
  if (input >= 0) {
    EXPECT_EQ(dup2(input, STDIN_FILENO), STDIN_FILENO);
    close(input);
  }
}

}  // namespace
}  // namespace yox::platform
