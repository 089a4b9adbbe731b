#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "yox/platform/files/linux/FileDescriptor.h"
#include "yox/platform/files/linux/MappedNumber.h"

#include "tests/support/TemporaryFolder.h"

namespace yox_test {
namespace {

using yox::platform::FileDescriptor;
using yox::platform::MappedNumber;

constexpr std::uint64_t kNumber = 0x1122334455667788;

void WriteNumber(const FileDescriptor& file, std::uint64_t number) {
  ASSERT_EQ(pwrite(file.number(), &number, sizeof number, 0), ssize_t{sizeof number});
}

// A file in memory, which can be mapped on every system.
class NumberFile {
 public:
  explicit NumberFile(const char* name = "yox-number") : file_(memfd_create(name, MFD_CLOEXEC)) {
    WriteNumber(file_, kNumber);
  }
  const FileDescriptor& file() const { return file_; }
  int number() const { return file_.number(); }
  void Truncate(off_t size) const { ASSERT_EQ(ftruncate(file_.number(), size), 0); }

 private:
  FileDescriptor file_;
};

int CountMappings(const std::string& name) {
  std::ifstream maps("/proc/self/maps");
  int count = 0;
  for (std::string line; std::getline(maps, line);) {
    if (line.find(name) != std::string::npos) ++count;
  }
  return count;
}

TEST(MappedNumberTest, SeesWhatAnotherProcessWritesAtOnce) {
  const NumberFile number;
  const MappedNumber mapped(number.number());
  EXPECT_EQ(mapped.Load(), kNumber);
  for (std::uint64_t next = 1; next < 20; ++next) {
    const pid_t child = fork();
    if (child == 0) {
      _exit(pwrite(number.number(), &next, sizeof next, 0) == ssize_t{sizeof next} ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(mapped.Load(), next);
  }
}

TEST(MappedNumberTest, KeepsTheNumberOfAFileThatIsClosedAndDeleted) {
  const TemporaryFolder folder;
  const std::filesystem::path path = folder.path() / "number";
  std::unique_ptr<MappedNumber> mapped;
  std::uint64_t before = 0;
  {
    const FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    WriteNumber(file, kNumber);
    mapped = std::make_unique<MappedNumber>(file.number());
    before = mapped->Load();
  }
  std::filesystem::remove(path);
  EXPECT_EQ(mapped->Load(), before);  // 0 on a file system that is not mapped
}

TEST(MappedNumberTest, IsZeroAfterTheFileWasEmpty) {
  const NumberFile number;
  const MappedNumber mapped(number.number());
  number.Truncate(0);
  EXPECT_EQ(mapped.Load(), 0U);
  WriteNumber(number.file(), kNumber);
  EXPECT_EQ(mapped.Load(), 0U) << "it is lost";
  EXPECT_EQ(MappedNumber(number.number()).Load(), kNumber);
}

TEST(MappedNumberTest, ShowsNoFileUnderALaterHandler) {
  const NumberFile number;
  MappedNumber mapped(number.number());
  struct sigaction former {};
  struct sigaction later {};
  later.sa_handler = SIG_DFL;
  sigaction(SIGBUS, &later, &former);
  mapped.Map(number.number());
  EXPECT_EQ(mapped.Load(), 0U);
  sigaction(SIGBUS, &former, nullptr);
  mapped.Map(number.number());
  EXPECT_EQ(mapped.Load(), kNumber);
}

TEST(MappedNumberTest, HasZerosForTheBytesThatWereCutOff) {
  const NumberFile number;
  const MappedNumber mapped(number.number());
  for (const off_t size : {7, 1}) {
    number.Truncate(size);
    std::uint64_t rest = 0;
    ASSERT_EQ(pread(number.number(), &rest, sizeof rest, 0), size);
    EXPECT_EQ(mapped.Load(), rest);
    WriteNumber(number.file(), kNumber);
    EXPECT_EQ(mapped.Load(), kNumber);
  }
}

TEST(MappedNumberTest, IsZeroInAHole) {
  const NumberFile number;
  const MappedNumber mapped(number.number());
  ASSERT_EQ(fallocate(number.number(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, 4096), 0);
  EXPECT_EQ(mapped.Load(), 0U);
  WriteNumber(number.file(), kNumber);
  EXPECT_EQ(mapped.Load(), kNumber);
}

TEST(MappedNumberTest, MayBeTruncatedWhileThreadsLoadIt) {
  constexpr int kThreads = 4;
  for (int round = 0; round < 50; ++round) {
    const NumberFile number;
    const MappedNumber mapped(number.number());
    std::atomic<int> loading{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&] {
        ++loading;
        while (mapped.Load() != 0) continue;
      });
    }
    while (loading < kThreads) std::this_thread::yield();
    number.Truncate(0);
    for (std::thread& thread : threads) thread.join();
  }
}

TEST(MappedNumberTest, ShowsAnotherFileWhileThreadsLoadIt) {
  const NumberFile first, second;
  WriteNumber(second.file(), 2);
  MappedNumber mapped(first.number());
  std::atomic<bool> is_over{false};
  std::atomic<int> wrong{0};
  std::thread reader([&] {
    while (!is_over) {
      const std::uint64_t number = mapped.Load();
      if (number != kNumber && number != 2 && number != 0) ++wrong;
    }
  });
  for (int round = 0; round < 2000; ++round) {
    mapped.Map(second.number());
    EXPECT_EQ(mapped.Load(), 2U);
    mapped.Map(first.number());
    EXPECT_EQ(mapped.Load(), kNumber);
    mapped.Map(-1);
    EXPECT_EQ(mapped.Load(), 0U);
  }
  is_over = true;
  reader.join();
  EXPECT_EQ(wrong, 0);
}

TEST(MappedNumberTest, IsUnmappedAtItsEnd) {
  constexpr const char* kName = "yox-unmapped-number";
  const NumberFile number(kName);
  const int before = CountMappings(kName);
  {
    const MappedNumber mapped(number.number());
    EXPECT_EQ(CountMappings(kName), before + 1);
    EXPECT_EQ(mapped.Load(), kNumber);
  }
  EXPECT_EQ(CountMappings(kName), before);
}

TEST(MappedNumberTest, IsZeroAndNotMappedWhenThereAreTooMany) {
  constexpr const char* kName = "yox-many-numbers";
  const NumberFile number(kName);
  std::vector<std::unique_ptr<MappedNumber>> all;
  do {
    all.push_back(std::make_unique<MappedNumber>(number.number()));
  } while (all.back()->Load() == kNumber && all.size() < 1000);
  EXPECT_EQ(all.size(), 65U);
  EXPECT_EQ(CountMappings(kName), 64);
  EXPECT_EQ(all.back()->Load(), 0U);
  all.erase(all.begin() + 20);
  EXPECT_EQ(MappedNumber(number.number()).Load(), kNumber);
}

TEST(MappedNumberTest, IsZeroOnAThreadThatBlocksSignals) {
  const NumberFile number;
  const MappedNumber mapped(number.number());
  number.Truncate(0);
  std::uint64_t loaded = kNumber;
  std::thread([&] {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    loaded = mapped.Load();
  }).join();
  EXPECT_EQ(loaded, 0U);
}

TEST(MappedNumberTest, IsZeroForAFileThatCannotBeMapped) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const FileDescriptor reading(ends[0]), writing(ends[1]);
  EXPECT_EQ(MappedNumber(reading.number()).Load(), 0U);
  EXPECT_EQ(MappedNumber(-1).Load(), 0U);
}

// What a process exits with that may not mount.
constexpr int kMayNotMount = 77;

bool WriteText(const char* file, const std::string& text) {
  const FileDescriptor opened(open(file, O_WRONLY | O_CLOEXEC));
  return write(opened.number(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

// In a process of its own: mounts a file system, in which only this process sees it, and returns
// whether a number of it is mapped.
[[noreturn]] void MapOn(const char* type, const std::string& options, const std::string& folder) {
  const std::string user = "0 " + std::to_string(geteuid()) + " 1";
  const std::string group = "0 " + std::to_string(getegid()) + " 1";
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 || !WriteText("/proc/self/uid_map", user) ||
      !WriteText("/proc/self/setgroups", "deny") || !WriteText("/proc/self/gid_map", group) ||
      mount(type, folder.c_str(), type, 0, options.c_str()) != 0) {
    _exit(kMayNotMount);
  }
  const FileDescriptor file(open((folder + "/number").c_str(), O_RDWR | O_CREAT, 0600));
  std::uint64_t number = kNumber;
  if (pwrite(file.number(), &number, sizeof number, 0) != ssize_t{sizeof number}) _exit(2);
  number = MappedNumber(file.number()).Load();
  _exit(number == 0 ? 0 : 1);
}

TEST(MappedNumberTest, IsZeroOnAFileSystemWhoseMappingsMayBeStale) {
  const TemporaryFolder temporary;
  const std::string path = temporary.path();
  for (const char* const name : {"lower", "upper", "work", "mounted"}) {
    std::filesystem::create_directory(temporary.path() / name);
  }
  const std::string layers =
      "lowerdir=" + path + "/lower,upperdir=" + path + "/upper,workdir=" + path + "/work,userxattr";
  const pid_t child = fork();
  if (child == 0) MapOn("overlay", layers, path + "/mounted");
  int status = -1;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == kMayNotMount) GTEST_SKIP() << "this process may not mount";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace yox_test
