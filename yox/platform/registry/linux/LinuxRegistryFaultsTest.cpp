// What the registry does, and says, when its store cannot be read or written.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "yox/base/String.h"
#include "yox/platform/registry/linux/CommitCounter.h"
#include "yox/platform/registry/linux/Database.h"
#include "yox/platform/registry/linux/DatabaseError.h"
#include "yox/platform/registry/linux/LinuxRegistry.h"
#include "yox/platform/registry/linux/RegistryStore.h"
#include "yox/platform/registry/linux/TestKey.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/FileMode.h"
#include "tests/support/Latch.h"
#include "tests/support/Rows.h"
#include "tests/support/TemporaryFolder.h"

namespace yox_test {
namespace {

namespace fs = std::filesystem;
using namespace yox::literals;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using yox::WString;
using yox::platform::CommitCounter;
using yox::platform::Database;
using yox::platform::DatabaseError;
using yox::platform::LinuxRegistry;
using yox::platform::Registry;
using yox::platform::RegistryAction;
using yox::platform::RegistryEdit;
using yox::platform::RegistryEntry;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryStore;
using yox::platform::RegistryValue;
using yox::platform::RegistryWatch;

constexpr uid_t kNobody = 65534;
constexpr std::uintmax_t kReserve = 256 * 1024;
const WString kName = "Name"_w;

LinuxRegistry BrieflyWaitingStoreIn(const fs::path& folder) {
  return {[folder] { return folder; }, "S-1-22-1-1000"_w, 1ms};
}

void MakeStore(const fs::path& folder) {
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder);
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  ASSERT_EQ(registry.SetValue(kTestKey, kName, RegistryValue::Text("kept"_w)), RegistryStatus::kOk);
}

RegistryStatus Read(Registry& registry, const WString& name = kName) {
  RegistryValue value;
  return registry.Get(kTestKey, name, value);
}

// The lines that a registry hands to OnFailure while the object lives.
class Failures {
 public:
  explicit Failures(Registry& registry) : registry_(registry) {
    registry_.OnFailure([this](std::string_view text) { texts_.emplace_back(text); });
  }
  ~Failures() { registry_.OnFailure({}); }

  const std::vector<std::string>& texts() const { return texts_; }

 private:
  Registry& registry_;
  std::vector<std::string> texts_;
};

// The account of another user for as long as the object lives; root's tests alone can have it.
class AsNobody {
 public:
  AsNobody() { EXPECT_EQ(seteuid(kNobody), 0); }
  ~AsNobody() { EXPECT_EQ(seteuid(0), 0); }
};

struct Fault {
  const char* name;
  std::function<void(const fs::path& folder)> cause;
  const char* reason;
};
class UnreadableStore : public testing::TestWithParam<Fault> {};

TEST_P(UnreadableStore, IsNamedWithTheReasonByEveryOperationAndInTheLog) {
  const TemporaryFolder temporary;
  const fs::path folder = temporary.path() / "state";
  MakeStore(folder);
  GetParam().cause(folder);
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder);
  const Failures failures(registry);
  const CapturedLog log;
  const std::string place = "registry " + (folder / "registry.db").native();
  const std::string reason = GetParam().reason;

  EXPECT_EQ(Read(registry), RegistryStatus::kFailed);
  HKEY opened = nullptr;
  EXPECT_EQ(registry.Open(kTestKey, Registry::kRead, opened), RegistryStatus::kFailed);
  std::vector<RegistryEntry> values;
  EXPECT_EQ(registry.Values(kTestKey, values, 10), RegistryStatus::kFailed);
  std::vector<WString> names;
  EXPECT_EQ(registry.SubKeys(kTestKey, names), RegistryStatus::kFailed);
  EXPECT_EQ(registry.Open(kTestKey, Registry::kFullAccess, opened), RegistryStatus::kFailed);
  EXPECT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kFailed);
  std::unique_ptr<RegistryWatch> watch;
  const auto ignore = [](const auto&) {};
  EXPECT_EQ(registry.Watch(kTestKey, ignore, watch), RegistryStatus::kFailed);

  const std::string read = place + " cannot be read: " + reason;
  EXPECT_THAT(failures.texts(), ElementsAre(read, read, read, read, read,
                                            place + " cannot be written: " + reason, read));
  EXPECT_THAT(log.Text(), HasSubstr("yox E LinuxRegistry::Get: " + read + "\n"));
}

void Overwrite(const fs::path& folder, const std::string& bytes) {
  std::ofstream(folder / "registry.db", std::ios::binary) << bytes;
}

void Execute(const fs::path& folder, const char* sql) {
  Database(folder / "registry.db", Database::Access::kShared, 1ms).Run(sql);
}

INSTANTIATE_TEST_SUITE_P(
    , UnreadableStore,
    testing::Values(
        Fault{"Garbage", [](const fs::path& folder) { Overwrite(folder, std::string(5000, 'x')); },
              "the file is damaged (file is not a database)"},
        Fault{"NewerFormat",
              [](const fs::path& folder) { Execute(folder, "PRAGMA user_version = 2"); },
              "it was written by a later version (its format is 2, this version reads format 1)"},
        Fault{"MissingTable", [](const fs::path& folder) { Execute(folder, "DROP TABLE value"); },
              "the file is damaged (no such table: value)"},
        Fault{"AnotherProgram",
              [](const fs::path& folder) { Execute(folder, "PRAGMA user_version = 0"); },
              "the file is damaged (it is another program's database)"}),
    RowName());

TEST(LinuxRegistryFaultsTest, AFileThatIsNoStoreKeepsItsContent) {
  const TemporaryFolder folder;
  const std::string garbage(5000, 'x');
  Overwrite(folder.path(), garbage);
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder.path());
  EXPECT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kFailed);
  std::ifstream file(folder.path() / "registry.db");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), garbage);
}

TEST(LinuxRegistryFaultsTest, AStoreOfAnotherAccountIsNamedAsDenied) {
  if (geteuid() != 0) GTEST_SKIP() << "becomes another account, which only root can";
  const TemporaryFolder temporary;
  fs::permissions(temporary.path(), fs::perms::all);
  MakeStore(temporary.path() / "state");
  const AsNobody another;
  LinuxRegistry registry = BrieflyWaitingStoreIn(temporary.path() / "state");
  const Failures failures(registry);
  EXPECT_EQ(Read(registry), RegistryStatus::kDenied);
  EXPECT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kDenied);
  EXPECT_THAT(failures.texts(), ElementsAre(HasSubstr("cannot be read: permission denied ("),
                                            HasSubstr("cannot be written: permission denied (")));
}

TEST(LinuxRegistryFaultsTest, AStoreInAFolderThatCannotBeSearchedIsDenied) {
  if (geteuid() != 0) GTEST_SKIP() << "becomes another account, which only root can";
  const TemporaryFolder temporary;
  MakeStore(temporary.path() / "state");
  fs::permissions(temporary.path(), fs::perms::owner_all);
  const AsNobody another;
  LinuxRegistry registry = BrieflyWaitingStoreIn(temporary.path() / "state");
  EXPECT_EQ(Read(registry), RegistryStatus::kDenied);
}

TEST(LinuxRegistryFaultsTest, AStoreThatAnotherHasForItselfIsNotReadWithoutLocks) {
  const TemporaryFolder folder;
  MakeStore(folder.path());
  Database other(folder.path() / "registry.db", Database::Access::kShared, 1ms);
  other.Run("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE");
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder.path());
  const Failures failures(registry);
  EXPECT_EQ(Read(registry), RegistryStatus::kFailed);
  EXPECT_THAT(failures.texts(),
              ElementsAre(HasSubstr("cannot be read: another process keeps it locked")));
}

TEST(LinuxRegistryFaultsTest, AStoreThatIsDamagedWhileItIsWatchedIsNamed) {
  const TemporaryFolder folder;
  MakeStore(folder.path());
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder.path());
  Latch reported;
  std::string text;
  registry.OnFailure([&](std::string_view line) {
    text = line;
    reported.CountDown();
  });
  std::unique_ptr<RegistryWatch> watch;
  const auto ignore = [](const auto&) {};
  ASSERT_EQ(registry.Watch(kTestKey, ignore, watch), RegistryStatus::kOk);
  Execute(folder.path(), "DROP TABLE change");
  { const CommitCounter::Commit commit{yox::platform::PrivateFolder(folder.path())}; }
  EXPECT_TRUE(reported.Wait());
  watch.reset();
  registry.OnFailure({});
  EXPECT_EQ(text, "registry " + (folder.path() / "registry.db").native() +
                      " cannot be read: the file is damaged (no such table: change)");
}

TEST(LinuxRegistryFaultsTest, WithoutAFolderNothingCanBeWritten) {
  LinuxRegistry registry = BrieflyWaitingStoreIn({});
  const Failures failures(registry);
  EXPECT_FALSE(registry.Exists(kTestKey));
  EXPECT_TRUE(registry.Exists({HKEY_CURRENT_USER, {}, {}, {}}));
  EXPECT_THAT(failures.texts(), IsEmpty());
  EXPECT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kDenied);
  EXPECT_THAT(failures.texts(), ElementsAre("the registry cannot be written: permission denied"
                                            " (this account has no folder for state)"));
}

TEST(LinuxRegistryFaultsTest, ALockThatIsNotReleasedInTimeIsNamed) {
  const TemporaryFolder folder;
  MakeStore(folder.path());
  Database other(folder.path() / "registry.db", Database::Access::kShared, 1ms);
  other.Run("BEGIN IMMEDIATE");
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder.path());
  const Failures failures(registry);
  EXPECT_EQ(Read(registry), RegistryStatus::kOk);
  EXPECT_EQ(registry.DeleteKey(kTestKey), RegistryStatus::kFailed);
  EXPECT_THAT(failures.texts(),
              ElementsAre(HasSubstr("cannot be written: another process keeps it locked")));
  EXPECT_EQ(fs::file_size(folder.path() / "registry.reserve"), kReserve) << "the disk is not full";
}

TEST(LinuxRegistryFaultsTest, AKeyThatIsMissingIsNoFailure) {
  const TemporaryFolder folder;
  MakeStore(folder.path());
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder.path());
  const Failures failures(registry);
  const CapturedLog log;
  EXPECT_EQ(Read(registry, "Missing"_w), RegistryStatus::kNotFound);
  EXPECT_EQ(registry.CreateKey({nullptr, {}, {}, {}}), RegistryStatus::kInvalid);
  EXPECT_THAT(failures.texts(), IsEmpty());
  EXPECT_EQ(log.Text(), "");
}

TEST(LinuxRegistryFaultsTest, ALinkInThePlaceOfAFileIsNotFollowed) {
  for (const char* const name : {"registry.db", "registry.changed", "registry.reserve"}) {
    const TemporaryFolder temporary;
    const fs::path folder = temporary.path() / "state", target = temporary.path() / "target";
    fs::create_directory(folder);
    fs::create_symlink(target, folder / name);
    LinuxRegistry registry = BrieflyWaitingStoreIn(folder);
    registry.CreateKey(kTestKey);
    EXPECT_FALSE(fs::exists(target)) << name;
    // Empty, as a database may be: it would get tables.
    std::ofstream(target).close();
    registry.CreateKey(kTestKey);
    EXPECT_EQ(fs::file_size(target), 0U) << name;
  }
}

TEST(LinuxRegistryFaultsTest, TheReserveIsTakenOnceItsPlaceIsFree) {
  const TemporaryFolder folder;
  const fs::path reserve = folder.path() / "registry.reserve";
  fs::create_symlink("elsewhere", reserve);
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder.path());
  EXPECT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  EXPECT_TRUE(fs::is_symlink(reserve));
  fs::remove(reserve);
  EXPECT_EQ(registry.DeleteKey(kTestKey), RegistryStatus::kOk);
  EXPECT_EQ(fs::file_size(reserve), kReserve);
}

TEST(LinuxRegistryFaultsTest, FilesAreTheOwnersAloneWhateverTheUmask) {
  for (const mode_t mask : {0U, 0777U}) {
    const TemporaryFolder temporary;
    const fs::path folder = temporary.path() / "deep" / "state";
    const mode_t former = umask(mask);
    LinuxRegistry registry = BrieflyWaitingStoreIn(folder);
    EXPECT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
    umask(former);
    EXPECT_EQ(ModeOf(folder), 0700U) << mask;
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
      names.push_back(entry.path().filename());
      EXPECT_EQ(ModeOf(entry.path()), 0600U) << mask << entry;
    }
    EXPECT_THAT(names,
                testing::UnorderedElementsAre("registry.db", "registry.db-wal", "registry.db-shm",
                                              "registry.changed", "registry.reserve"));
  }
}

TEST(LinuxRegistryFaultsTest, ACommitCountOfAnyLengthLetsEverybodyWriteAndRead) {
  const TemporaryFolder folder;
  LinuxRegistry writer = BrieflyWaitingStoreIn(folder.path()),
                reader = BrieflyWaitingStoreIn(folder.path());
  ASSERT_EQ(writer.CreateKey(kTestKey), RegistryStatus::kOk);
  std::uint32_t number = 0;
  for (const std::uintmax_t size : {0U, 1U, 7U, 8U, 9U, 0U}) {
    // Cached, with the count that is then lost under both.
    RegistryValue value;
    ASSERT_EQ(writer.SetValue(kTestKey, kName, RegistryValue::Dword(++number)),
              RegistryStatus::kOk);
    ASSERT_EQ(reader.Get(kTestKey, kName, value), RegistryStatus::kOk);
    fs::resize_file(folder.path() / CommitCounter::kFile, size);
    ASSERT_EQ(reader.Get(kTestKey, kName, value), RegistryStatus::kOk) << size;
    EXPECT_EQ(value, RegistryValue::Dword(number));
    ASSERT_EQ(writer.SetValue(kTestKey, kName, RegistryValue::Dword(++number)),
              RegistryStatus::kOk);
    ASSERT_EQ(reader.Get(kTestKey, kName, value), RegistryStatus::kOk) << size;
    EXPECT_EQ(value, RegistryValue::Dword(number)) << size;
  }
}

TEST(LinuxRegistryFaultsTest, WhatIsReadDuringACommitIsNotRemembered) {
  const TemporaryFolder temporary;
  MakeStore(temporary.path());
  LinuxRegistry reader = BrieflyWaitingStoreIn(temporary.path());
  const yox::platform::PrivateFolder folder(temporary.path());
  Database writer(temporary.path() / "registry.db");
  writer.Run("BEGIN IMMEDIATE");
  writer.Run("UPDATE value SET type = 4, data = x'07000000'");
  {
    const CommitCounter::Commit commit(folder);
    EXPECT_EQ(Read(reader), RegistryStatus::kOk);  // the value before the commit
    writer.Run("COMMIT");
  }
  RegistryValue value;
  ASSERT_EQ(reader.Get(kTestKey, kName, value), RegistryStatus::kOk);
  EXPECT_EQ(value, RegistryValue::Dword(7));
}

// A folder whose files an account may only read, and the account.
class ReadOnlyFolderTest : public testing::Test {
 protected:
  void SetUp() override {
    MakeStore(folder());
    if (geteuid() == 0) {
      fs::permissions(temporary_.path(), fs::perms::all);
      for (const auto& entry : fs::directory_iterator(folder())) {
        ASSERT_EQ(chown(entry.path().c_str(), kNobody, kNobody), 0);
      }
      ASSERT_EQ(chown(folder().c_str(), kNobody, kNobody), 0);
    }
    fs::permissions(folder(), fs::perms::owner_read | fs::perms::owner_exec);
    if (geteuid() == 0) {
      ASSERT_EQ(seteuid(kNobody), 0);
    }
  }
  void TearDown() override {
    if (getuid() == 0) {
      EXPECT_EQ(seteuid(0), 0);
    }
    fs::permissions(folder(), fs::perms::owner_all);
  }
  fs::path folder() const { return temporary_.path() / "state"; }

 private:
  TemporaryFolder temporary_;
};

TEST_F(ReadOnlyFolderTest, AStoreThatNobodyHasOpenIsReadAndNotWritten) {
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder());
  const Failures failures(registry);
  EXPECT_EQ(Read(registry), RegistryStatus::kOk);
  EXPECT_EQ(Read(registry, "Missing"_w), RegistryStatus::kNotFound);
  EXPECT_THAT(failures.texts(), IsEmpty());
  EXPECT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kDenied);
  HKEY opened = nullptr;
  EXPECT_EQ(registry.Open(kTestKey, Registry::kFullAccess, opened), RegistryStatus::kDenied);
  EXPECT_THAT(failures.texts(),
              ElementsAre(HasSubstr("cannot be written: permission denied"),
                          HasSubstr("cannot be opened for writing: permission denied")));
  EXPECT_EQ(registry.Track({&kTestKey, 1})->Generation(), 0U);
}

TEST_F(ReadOnlyFolderTest, WhatChangedWhileItWasReadIsNotTrusted) {
  if (getuid() != 0) GTEST_SKIP() << "writes as another account, which only root can";
  const auto store = RegistryStore::OpenExisting(folder(), 1ms);
  ASSERT_NE(store, nullptr);
  EXPECT_FALSE(store->IsReusable());
  store->CheckUnchanged();
  ASSERT_EQ(seteuid(0), 0);
  {
    LinuxRegistry writer = BrieflyWaitingStoreIn(folder());
    ASSERT_EQ(writer.SetValue(kTestKey, kName, RegistryValue::Dword(1)), RegistryStatus::kOk);
    EXPECT_THROW(store->CheckUnchanged(), DatabaseError);  // there is a log
  }
  EXPECT_FALSE(fs::exists(folder() / "registry.db-wal"));
  EXPECT_THROW(store->CheckUnchanged(), DatabaseError);  // the database is another one
  ASSERT_EQ(seteuid(kNobody), 0);
}

// Replaces a file of the folder, as the account that the folder belongs to.
void Replace(const fs::path& file, const std::string& content) {
  ASSERT_EQ(seteuid(0), 0);
  std::ofstream(file, std::ios::binary) << content;
  ASSERT_EQ(chown(file.c_str(), kNobody, kNobody), 0);
  ASSERT_EQ(seteuid(kNobody), 0);
}

TEST_F(ReadOnlyFolderTest, AnEmptyLogIsNone) {
  if (getuid() != 0) GTEST_SKIP() << "writes as another account, which only root can";
  Replace(folder() / "registry.db-wal", "");
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder());
  EXPECT_EQ(Read(registry), RegistryStatus::kOk);
}

TEST_F(ReadOnlyFolderTest, ALogThatCannotBeReadIsNotPassedOver) {
  if (getuid() != 0) GTEST_SKIP() << "writes as another account, which only root can";
  Replace(folder() / "registry.db-wal", "x");
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder());
  const Failures failures(registry);
  EXPECT_EQ(Read(registry), RegistryStatus::kFailed);
  EXPECT_THAT(failures.texts(),
              ElementsAre(HasSubstr("cannot be read: unable to open database file")));
}

TEST_F(ReadOnlyFolderTest, AStoreWithoutTablesIsEmpty) {
  if (getuid() != 0) GTEST_SKIP() << "writes as another account, which only root can";
  Replace(folder() / "registry.db", "");
  ASSERT_EQ(seteuid(0), 0);
  Execute(folder(), "PRAGMA journal_mode = WAL");
  ASSERT_EQ(seteuid(kNobody), 0);
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder());
  EXPECT_EQ(Read(registry), RegistryStatus::kNotFound);
}

// A file system of its own in memory. Only this process sees it.
class SmallDisk {
 public:
  explicit SmallDisk(const char* size) {
    // Without root's rights in a name space of users, where the process has them.
    if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return;
    mounted_ = mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0 &&
               mount("none", path().c_str(), "tmpfs", 0, size) == 0;
  }
  ~SmallDisk() {
    if (mounted_) umount2(path().c_str(), MNT_DETACH);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  bool mounted() const { return mounted_; }
  fs::path path() const { return folder_.path(); }

  // Takes all room that is left.
  void Fill() const {
    std::ofstream file(path() / "filler", std::ios::binary | std::ios::app);
    while (file.write("x", 1).flush()) {
    }
  }
  void MakeRoom() const { fs::remove(path() / "filler"); }
  void MakeReadOnly() const {
    EXPECT_EQ(mount("none", path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  }

 private:
  TemporaryFolder folder_;
  bool mounted_ = false;
};

class SmallDiskTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!disk_.mounted()) GTEST_SKIP() << "this account cannot mount a file system";
    MakeStore(folder());
  }
  fs::path folder() const { return disk_.path() / "state"; }

  const SmallDisk disk_{"size=1m"};
};

TEST_F(SmallDiskTest, AStoreOfAReadOnlyFileSystemIsReadAndNotWritten) {
  disk_.MakeReadOnly();
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder());
  const Failures failures(registry);
  EXPECT_EQ(Read(registry), RegistryStatus::kOk);
  EXPECT_THAT(failures.texts(), IsEmpty());
  EXPECT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kDenied);
  HKEY opened = nullptr;
  EXPECT_EQ(registry.Open(kTestKey, Registry::kFullAccess, opened), RegistryStatus::kDenied);
  std::unique_ptr<RegistryWatch> watch;
  const auto ignore = [](const auto&) {};
  EXPECT_EQ(registry.Watch(kTestKey, ignore, watch), RegistryStatus::kDenied);
  const auto of = [](const std::string& what) {
    return HasSubstr(what + ": the file or its folder is read-only");
  };
  EXPECT_THAT(failures.texts(),
              ElementsAre(of("cannot be written"), of("cannot be opened for writing"),
                          of("cannot be watched")));
}

TEST_F(SmallDiskTest, AFullOneIsReadAndDeletesButTakesNoNewValues) {
  for (const bool is_open : {false, true}) {
    SCOPED_TRACE(is_open);
    MakeStore(folder());
    LinuxRegistry registry = BrieflyWaitingStoreIn(folder());
    if (is_open) {
      ASSERT_EQ(Read(registry), RegistryStatus::kOk);
    }
    disk_.Fill();
    EXPECT_EQ(Read(registry), RegistryStatus::kOk);
    const Failures failures(registry);
    const RegistryValue large = RegistryValue::Binary(std::vector<std::uint8_t>(500'000, 1));
    EXPECT_EQ(registry.SetValue(kTestKey, "Large"_w, large), RegistryStatus::kFailed);
    EXPECT_THAT(failures.texts(), ElementsAre(HasSubstr("cannot be written: the disk is full")));
    EXPECT_EQ(registry.DeleteValue(kTestKey, kName), RegistryStatus::kOk);
    EXPECT_EQ(registry.DeleteKey(kTestKey), RegistryStatus::kOk);
    EXPECT_FALSE(registry.Exists(kTestKey));
    EXPECT_THAT(failures.texts(), SizeIs(1));
    disk_.MakeRoom();
  }
}

TEST_F(SmallDiskTest, TheReserveIsForDeletionsAlone) {
  const fs::path reserve = folder() / "registry.reserve";
  for (const RegistryAction action : {RegistryAction::kDeleteValue, RegistryAction::kDeleteKey}) {
    MakeStore(folder());
    LinuxRegistry registry = BrieflyWaitingStoreIn(folder());
    disk_.Fill();
    const RegistryEdit edit{action, kTestKey, kName, {}};
    const RegistryEdit edits[] = {{RegistryAction::kCreateKey, kTestKey, {}, {}}, edit};
    EXPECT_EQ(registry.Apply(edits), RegistryStatus::kFailed);
    EXPECT_EQ(fs::file_size(reserve), kReserve);
    EXPECT_EQ(registry.Apply({&edit, 1}), RegistryStatus::kOk);
    EXPECT_EQ(fs::file_size(reserve), 0U);
    disk_.MakeRoom();
  }
}

TEST_F(SmallDiskTest, WithoutAReserveADeletionFailsOnce) {
  fs::resize_file(folder() / "registry.reserve", 0);
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder());
  disk_.Fill();
  const Failures failures(registry);
  EXPECT_EQ(registry.DeleteKey(kTestKey), RegistryStatus::kFailed);
  EXPECT_THAT(failures.texts(), ElementsAre(HasSubstr("cannot be written: the disk is full")));
}

TEST_F(SmallDiskTest, WithALinkInThePlaceOfTheReserveAFullDiskIsNamed) {
  fs::remove(folder() / "registry.reserve");
  fs::create_symlink("elsewhere", folder() / "registry.reserve");
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder());
  disk_.Fill();
  const Failures failures(registry);
  EXPECT_EQ(registry.DeleteKey(kTestKey), RegistryStatus::kFailed);
  EXPECT_THAT(failures.texts(), ElementsAre(HasSubstr("cannot be written: the disk is full")));
}

TEST_F(SmallDiskTest, TheReserveIsTakenAgainWhenThereIsRoom) {
  const fs::path reserve = folder() / "registry.reserve";
  ASSERT_EQ(fs::file_size(reserve), kReserve);
  LinuxRegistry registry = BrieflyWaitingStoreIn(folder());
  ASSERT_EQ(registry.SetValue(kTestKey, "Other"_w, RegistryValue::Dword(1)), RegistryStatus::kOk);
  // Keeps SQLite's log, whose room the last connection would free.
  LinuxRegistry other = BrieflyWaitingStoreIn(folder());
  ASSERT_EQ(Read(other), RegistryStatus::kOk);
  disk_.Fill();
  ASSERT_EQ(registry.DeleteValue(kTestKey, kName), RegistryStatus::kOk);
  EXPECT_EQ(fs::file_size(reserve), 0U);
  disk_.MakeRoom();
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  EXPECT_EQ(fs::file_size(reserve), kReserve);
}

}  // namespace
}  // namespace yox_test
