#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

#include "yox/platform/registry/linux/CommitCounter.h"

#include "tests/support/FileSizeLimit.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using yox::platform::CommitCounter;
using yox::platform::MappedNumber;
using yox::platform::PrivateFolder;

class CommitCounterTest : public testing::Test {
 protected:
  fs::path file() const { return temporary_.path() / CommitCounter::kFile; }
  void Commit() const { const CommitCounter::Commit commit(folder_); }

 private:
  const yox_test::TemporaryFolder temporary_;

 protected:
  const PrivateFolder folder_{temporary_.path()};
};

TEST_F(CommitCounterTest, WithoutAFileThereIsNoCount) {
  EXPECT_EQ(CommitCounter(folder_).Count(), std::nullopt);
  EXPECT_FALSE(fs::exists(file()));
}

TEST_F(CommitCounterTest, ACommitIsCountedBeforeItAndLastsToItsEnd) {
  Commit();
  const CommitCounter counter(folder_);
  const auto before = counter.Count();
  ASSERT_TRUE(before);
  {
    const CommitCounter::Commit commit(folder_);
    EXPECT_EQ(counter.Count(), *before + 1);
    EXPECT_TRUE(counter.IsCommitting());
    const CommitCounter::Commit next(folder_);
    EXPECT_EQ(counter.Count(), *before + 2);
  }
  EXPECT_FALSE(counter.IsCommitting());
  EXPECT_EQ(counter.Count(), *before + 2);
}

TEST_F(CommitCounterTest, OneOfTwoCommitsIsEnoughToBeCommitting) {
  Commit();
  const CommitCounter counter(folder_);
  std::optional<CommitCounter::Commit> first(std::in_place, folder_);
  const CommitCounter::Commit second(folder_);
  first.reset();
  EXPECT_TRUE(counter.IsCommitting());
}

TEST_F(CommitCounterTest, AKilledProcessCommitsNoLonger) {
  Commit();
  std::array<int, 2> ready{};
  ASSERT_EQ(pipe(ready.data()), 0);
  const pid_t child = fork();
  if (child == 0) {
    const CommitCounter::Commit commit(folder_);
    if (write(ready[1], "!", 1) == 1) pause();
    _exit(1);
  }
  char word = 0;
  ASSERT_EQ(read(ready[0], &word, 1), 1);
  const CommitCounter counter(folder_);
  EXPECT_TRUE(counter.IsCommitting());
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  EXPECT_FALSE(counter.IsCommitting());
}

TEST_F(CommitCounterTest, ACountThatWasLostStartsWithANumberNobodyHasSeen) {
  Commit();
  const CommitCounter counter(folder_);
  const auto before = counter.Count();
  for (const std::uintmax_t size : {0U, 1U, 7U}) {
    fs::resize_file(file(), size);
    EXPECT_EQ(counter.Count(), std::nullopt) << size;
    Commit();
    EXPECT_GT(counter.Count(), before) << size;
  }
}

TEST_F(CommitCounterTest, ACountOfZerosIsLost) {
  Commit();
  const CommitCounter counter(folder_);
  const auto before = counter.Count();
  fs::resize_file(file(), 0);
  fs::resize_file(file(), 8);
  EXPECT_EQ(counter.Count(), std::nullopt);
  Commit();
  EXPECT_GT(counter.Count(), before);
}

TEST_F(CommitCounterTest, NoCountIsSeenTwiceWhileItIsWritten) {
  constexpr std::uint64_t kBeforeCarries = 0x1122334455FFFFFF;
  for (int round = 0; round < 100; ++round) {
    std::ofstream(file(), std::ios::binary)
        .write(reinterpret_cast<const char*>(&kBeforeCarries), sizeof kBeforeCarries);
    const CommitCounter counter(folder_);
    MappedNumber mapped;
    counter.MapTo(mapped);
    std::atomic<bool> is_reading{false};
    std::uint64_t least = UINT64_MAX;
    std::thread reader([&] {
      const auto count = [&] {
        const std::uint64_t number = mapped.Load();
        return number != 0 ? number : counter.Count().value_or(0);  // where it cannot be mapped
      };
      std::uint64_t last = 0;
      while ((last = count()) != kBeforeCarries + 1) {
        least = std::min(least, last);
        is_reading = true;
      }
    });
    while (!is_reading) std::this_thread::yield();
    Commit();
    reader.join();
    ASSERT_EQ(least, kBeforeCarries);
  }
}

TEST_F(CommitCounterTest, ACountThatIsNoFileOfThisFolderIsAnError) {
  fs::create_symlink("elsewhere", file());
  EXPECT_THROW(CommitCounter counter(folder_), std::system_error);
  EXPECT_THROW(CommitCounter::Commit commit(folder_), std::system_error);
  EXPECT_FALSE(fs::exists(file()));
}

TEST_F(CommitCounterTest, TheFirstCountIsTheTimeInNanoseconds) {
  const auto now = [] {
    return static_cast<std::uint64_t>(
        std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count());
  };
  const std::uint64_t before = now();
  Commit();
  const auto count = CommitCounter(folder_).Count();
  EXPECT_GE(count, before);
  EXPECT_LE(count, now());
}

TEST_F(CommitCounterTest, SeveralMayCreateTheFileAtOnce) {
  for (int round = 0; round < 200; ++round) {
    fs::remove(file());
    std::atomic<int> ready{0};
    const auto commit = [&] {
      ++ready;
      while (ready < 2) std::this_thread::yield();
      Commit();
    };
    std::thread other([&] { EXPECT_NO_THROW(commit()); });
    EXPECT_NO_THROW(commit());
    other.join();
    EXPECT_TRUE(CommitCounter(folder_).Count());
  }
}

TEST_F(CommitCounterTest, ACommitThatCannotBeCountedFails) {
  Commit();
  const auto before = CommitCounter(folder_).Count();
  const yox_test::FileSizeLimit limit(0);
  try {
    Commit();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().value(), EFBIG);
    EXPECT_TRUE(std::string(error.what()).starts_with(file().native())) << error.what();
  }
  EXPECT_EQ(CommitCounter(folder_).Count(), before);
}

}  // namespace
