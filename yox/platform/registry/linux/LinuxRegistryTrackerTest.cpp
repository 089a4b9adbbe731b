#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "yox/platform/files/linux/FileDescriptor.h"
#include "yox/platform/files/linux/MappedNumber.h"
#include "yox/platform/registry/TestTracking.h"
#include "yox/platform/registry/linux/CommitCounter.h"
#include "yox/platform/registry/linux/Database.h"
#include "yox/platform/registry/linux/LinuxRegistry.h"
#include "yox/platform/registry/linux/TestKey.h"

#include "tests/support/FileSizeLimit.h"
#include "tests/support/TemporaryFolder.h"

namespace yox_test {
namespace {

namespace fs = std::filesystem;
using namespace yox::literals;
using yox::platform::CommitCounter;
using yox::platform::Database;
using yox::platform::FileDescriptor;
using yox::platform::LinuxRegistry;
using yox::platform::MappedNumber;
using yox::platform::PrivateFolder;
using yox::platform::Registry;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryTracker;
using yox::platform::RegistryValue;

// ThreadSanitizer has a thread of its own, also in a copy of the process.
#if defined(__SANITIZE_THREAD__)
constexpr bool kHasOtherThreads = true;
#elif defined(__has_feature)
constexpr bool kHasOtherThreads = __has_feature(thread_sanitizer);
#else
constexpr bool kHasOtherThreads = false;
#endif

class LinuxRegistryTrackerTest : public testing::Test {
 protected:
  static void Write(Registry& registry, std::uint32_t number) {
    ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
    ASSERT_EQ(registry.SetValue(kTestKey, "Name"_w, RegistryValue::Dword(number)),
              RegistryStatus::kOk);
  }
  std::uint32_t Read() {
    RegistryValue value;
    EXPECT_EQ(registry_.Get(kTestKey, "Name"_w, value), RegistryStatus::kOk);
    return value.AsDword().value_or(0);
  }

  // Whether a file on its file system can be mapped.
  static bool IsMapped(const fs::path& file) {
    const FileDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    return MappedNumber(opened.number()).Load() != 0;
  }
  // Which system calls a query takes: "none" or "some". In a copy of this process, which the kernel
  // ends at any other call than write and exit.
  std::string CallsOfGeneration() {
    const auto expected = tracker_->Generation();
    const pid_t child = fork();
    if (child == 0) {
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT);
      const bool is_same = tracker_->Generation() == expected;
      syscall(SYS_exit, is_same ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0 ? "none" : "some";
  }

  const TemporaryFolder temporary_;
  const fs::path folder_ = temporary_.path() / "state";
  std::atomic<const fs::path*> place_{&folder_};
  LinuxRegistry registry_{[this] { return *place_.load(); }, {}};
  LinuxRegistry other_{[this] { return folder_; }, {}};
  const std::unique_ptr<RegistryTracker> tracker_ = registry_.Track({&kTestKey, 1});
};

TEST_F(LinuxRegistryTrackerTest, AStoreThatNobodyWroteToHasNoGenerationAndIsNotCreated) {
  EXPECT_EQ(tracker_->Generation(), 0U);
  EXPECT_FALSE(fs::exists(folder_));
  Write(other_, 1);
  const auto first = tracker_->Generation();
  EXPECT_TRUE(first);
  EXPECT_EQ(tracker_->Generation(), first);
}

TEST_F(LinuxRegistryTrackerTest, ACommitUnderWayHasNoGeneration) {
  Write(other_, 1);
  const auto before = tracker_->Generation();
  ASSERT_TRUE(before);
  Database writer(folder_ / "registry.db");
  writer.Run("BEGIN IMMEDIATE");
  writer.Run("UPDATE value SET data = x'07000000'");
  EXPECT_EQ(tracker_->Generation(), before) << "not committed yet";
  {
    const CommitCounter::Commit commit{PrivateFolder(folder_)};
    EXPECT_EQ(tracker_->Generation(), 0U) << "it may be committed at any moment";
    EXPECT_EQ(Read(), 1U);
    writer.Run("COMMIT");
    EXPECT_EQ(tracker_->Generation(), 0U);
  }
  const auto after = tracker_->Generation();
  EXPECT_TRUE(after);
  EXPECT_NE(after, before);
  EXPECT_EQ(Read(), 7U);
}

TEST_F(LinuxRegistryTrackerTest, ACommitCountThatIsLostHasNoGeneration) {
  Write(other_, 1);
  const auto before = tracker_->Generation();
  ASSERT_TRUE(before);
  for (const std::uintmax_t size : {0U, 1U, 7U}) {
    fs::resize_file(folder_ / CommitCounter::kFile, size);
    EXPECT_EQ(tracker_->Generation(), 0U) << size;
  }
  Write(other_, 2);
  const auto after = tracker_->Generation();
  EXPECT_TRUE(after);
  EXPECT_NE(after, before);
}

TEST_F(LinuxRegistryTrackerTest, ACommitCountThatWasLostIsMappedAgain) {
  const fs::path count = folder_ / CommitCounter::kFile;
  Write(other_, 1);
  ASSERT_TRUE(tracker_->Generation());
  fs::resize_file(count, 0);
  EXPECT_EQ(tracker_->Generation(), 0U);
  for (std::uint32_t number = 2; number < 5; ++number) {
    Write(other_, number);
    const auto now = tracker_->Generation();
    EXPECT_TRUE(now);
    EXPECT_EQ(tracker_->Generation(), now);
    EXPECT_EQ(Read(), number);
  }
  if (kHasOtherThreads) return;
  EXPECT_EQ(CallsOfGeneration(), IsMapped(count) ? "none" : "some");
}

TEST_F(LinuxRegistryTrackerTest, TruncatingTheCommitCountHidesNoChangeAndEndsNoProcess) {
  const fs::path count = folder_ / CommitCounter::kFile;
  Write(other_, 0);
  const auto read = [&] { return Read(); };
  for (const std::uintmax_t size : {0U, 1U, 7U}) {
    const auto write = [&](std::uint32_t number) {
      fs::resize_file(count, size);
      Write(other_, number);
    };
    EXPECT_EQ(CountLateReads(*tracker_, 3, 50, read, write), 0) << size;
    Write(other_, 0);
  }
}

TEST_F(LinuxRegistryTrackerTest, AnUnchangedRegistryCostsNoSystemCall) {
  if (kHasOtherThreads) GTEST_SKIP() << "the copy of the process would not end";
  Write(other_, 1);
  if (!IsMapped(folder_ / CommitCounter::kFile)) GTEST_SKIP() << "a file system that is not mapped";
  ASSERT_TRUE(tracker_->Generation());
  EXPECT_EQ(CallsOfGeneration(), "none");
}

// Commits follow each other so fast that threads look at the count while others settle the next
// generation.
TEST_F(LinuxRegistryTrackerTest, ACommitIsNeverWithinOneGeneration) {
  constexpr int kCommits = 5000;
  Write(other_, 1);
  const PrivateFolder folder(folder_);
  std::atomic<int> begun{0}, ended{0}, wrong{0};
  const auto look = [&] {
    std::uint64_t kept = 0;
    int begun_by_then = 0;
    while (ended < kCommits) {
      const int ended_before = ended;
      const std::uint64_t now = tracker_->Generation();
      if (now != 0 && now == kept && ended_before > begun_by_then) ++wrong;
      if (now != kept) begun_by_then = begun;
      kept = now;
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back(look);
  for (int i = 0; i < kCommits; ++i) {
    ++begun;
    { const CommitCounter::Commit commit(folder); }
    ++ended;
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST_F(LinuxRegistryTrackerTest, AThreadThatBlocksSignalsHasTheSameGeneration) {
  Write(other_, 1);
  const auto first = tracker_->Generation();
  std::thread([&] {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    EXPECT_EQ(tracker_->Generation(), first);
    fs::resize_file(folder_ / CommitCounter::kFile, 0);
    EXPECT_EQ(tracker_->Generation(), 0U);
    Write(other_, 2);
    const auto next = tracker_->Generation();
    EXPECT_NE(next, first);
    EXPECT_EQ(tracker_->Generation(), next);
  }).join();
}

TEST_F(LinuxRegistryTrackerTest, AnotherFolderIsAnotherGeneration) {
  Write(other_, 1);
  const fs::path second = temporary_.path() / "second";
  fs::copy(folder_, second, fs::copy_options::recursive);  // with the same count
  const auto first = tracker_->Generation();
  EXPECT_EQ(Read(), 1U);
  place_ = &second;
  EXPECT_EQ(Read(), 1U) << "by the connection that is open";
  EXPECT_EQ(tracker_->Generation(), first);
  {
    // A failure closes the connection.
    const FileSizeLimit full(0);
    EXPECT_NE(registry_.SetValue(kTestKey, "Name"_w, RegistryValue::Dword(9)), RegistryStatus::kOk);
  }
  const auto moved = tracker_->Generation();
  EXPECT_NE(moved, first);
  Write(other_, 2);
  EXPECT_EQ(Read(), 1U);
  EXPECT_EQ(tracker_->Generation(), moved) << "it was written to the first folder";
}

TEST_F(LinuxRegistryTrackerTest, ThreadsThatOpenFurtherConnectionsDoNotHideAChange) {
  constexpr int kMoreThanAreKeptOpen = 20;
  Write(other_, 0);
  const auto read = [&] { return Read(); };
  const auto write = [&](std::uint32_t number) { Write(other_, number); };
  EXPECT_EQ(CountLateReads(*tracker_, kMoreThanAreKeptOpen, 100, read, write), 0);
}

}  // namespace
}  // namespace yox_test
