#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "yox/base/String.h"
#include "yox/platform/registry/RegistryContract.h"
#include "yox/platform/registry/linux/CommitCounter.h"
#include "yox/platform/registry/linux/Database.h"
#include "yox/platform/registry/linux/LinuxRegistry.h"
#include "yox/platform/registry/linux/RegistryStore.h"
#include "yox/platform/registry/linux/TestKey.h"

#include "tests/support/Latch.h"
#include "tests/support/TemporaryFolder.h"

namespace yox_test {
namespace {

namespace fs = std::filesystem;
using namespace yox::literals;
using testing::ElementsAre;
using YOX::String;
using yox::WString;
using yox::platform::CommitCounter;
using yox::platform::Database;
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
using yox::platform::StoredChange;

LinuxRegistry StoreIn(const fs::path& folder, unsigned user = 1000) {
  return {[folder] { return folder; }, LinuxRegistry::UserIdentifier(user)};
}

Database Open(const fs::path& folder) { return Database(folder / "registry.db"); }

TEST(LinuxRegistryTest, AStoreThatNobodyWroteToReadsAsEmptyAndIsNotCreated) {
  const TemporaryFolder folder;
  LinuxRegistry registry = StoreIn(folder.path() / "state");
  std::vector<WString> names{"before"_w};
  EXPECT_TRUE(registry.Exists({HKEY_LOCAL_MACHINE, {}, {}, {}}));
  EXPECT_EQ(registry.SubKeys({HKEY_LOCAL_MACHINE, {}, {}, {}}, names), RegistryStatus::kOk);
  EXPECT_THAT(names, ElementsAre());
  RegistryValue value;
  EXPECT_EQ(registry.Get(kTestKey, "Name"_w, value), RegistryStatus::kNotFound);
  EXPECT_FALSE(registry.Exists(kTestKey));
  EXPECT_FALSE(fs::exists(folder.path() / "state"));
}

TEST(LinuxRegistryTest, WhatOneWroteTheNextReads) {
  const TemporaryFolder folder;
  {
    LinuxRegistry registry = StoreIn(folder.path());
    ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
    ASSERT_EQ(registry.SetValue(kTestKey, "Name"_w, RegistryValue::Text("kept"_w)),
              RegistryStatus::kOk);
  }
  LinuxRegistry registry = StoreIn(folder.path());
  RegistryValue value;
  ASSERT_EQ(registry.Get(kTestKey, "name"_w, value), RegistryStatus::kOk);
  EXPECT_EQ(value, RegistryValue::Text("kept"_w));
}

std::ptrdiff_t OpenDescriptorsOf(const fs::path& file) {
  return std::ranges::count_if(fs::directory_iterator("/proc/self/fd"), [&](const auto& entry) {
    std::error_code gone;  // the descriptor of this very walk, and those that other threads close
    return fs::read_symlink(entry.path(), gone) == file;
  });
}

TEST(LinuxRegistryTest, ThreadsReadAndWriteAtOnceOverFewConnections) {
  constexpr int kThreads = 24;
  constexpr int kRounds = 25;
  const TemporaryFolder folder;
  LinuxRegistry registry = StoreIn(folder.path());
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, name = String::UTF8ToUTF16("Name" + std::to_string(t))] {
      for (std::uint32_t round = 0; round < kRounds; ++round) {
        RegistryValue value;
        right +=
            registry.SetValue(kTestKey, name, RegistryValue::Dword(round)) == RegistryStatus::kOk &&
            registry.Get(kTestKey, name, value) == RegistryStatus::kOk &&
            value == RegistryValue::Dword(round);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, kThreads * kRounds);
  EXPECT_LE(OpenDescriptorsOf(fs::canonical(folder.path()) / "registry.db"), 16);
}

TEST(LinuxRegistryTest, TheEndClosesEveryFile) {
  const TemporaryFolder folder;
  {
    LinuxRegistry registry = StoreIn(folder.path());
    ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
    EXPECT_TRUE(registry.Exists(kTestKey));
  }
  EXPECT_EQ(OpenDescriptorsOf(fs::canonical(folder.path()) / "registry.db"), 0);
}

TEST(LinuxRegistryTest, AConnectionIsKeptForLaterOperations) {
  const TemporaryFolder folder;
  int opened = 0;
  LinuxRegistry registry(
      [&] {
        ++opened;
        return folder.path();
      },
      {}, std::chrono::milliseconds(1));
  for (std::uint32_t round = 0; round < 5; ++round) {
    ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
    ASSERT_EQ(registry.SetValue(kTestKey, "Name"_w, RegistryValue::Dword(round)),
              RegistryStatus::kOk);
    ASSERT_TRUE(registry.Exists(kTestKey));
  }
  EXPECT_EQ(opened, 1);
  Database other = Open(folder.path());
  other.Run("BEGIN IMMEDIATE");
  EXPECT_EQ(registry.DeleteKey(kTestKey), RegistryStatus::kFailed);
  other.Run("COMMIT");
  const int after_failure = opened;
  EXPECT_TRUE(registry.Exists(kTestKey));
  EXPECT_EQ(opened, after_failure + 1) << "the connection may have a transaction open";
}

TEST(LinuxRegistryTest, SixteenConnectionsAreKept) {
  const TemporaryFolder folder;
  ASSERT_EQ(StoreIn(folder.path()).CreateKey(kTestKey), RegistryStatus::kOk);
  int depth = 0;
  LinuxRegistry* self = nullptr;
  LinuxRegistry registry(
      [&] {
        // One more operation before this one has its connection.
        if (++depth < 20) {
          EXPECT_TRUE(self->Exists(kTestKey));
        }
        return folder.path();
      },
      {});
  self = &registry;
  EXPECT_TRUE(registry.Exists(kTestKey));
  EXPECT_EQ(depth, 20);
  EXPECT_EQ(OpenDescriptorsOf(fs::canonical(folder.path()) / CommitCounter::kFile), 16);
}

// With another process's connection in between, one that reads on in an old state would fail.
TEST(LinuxRegistryTest, TwoWritersTakeTurns) {
  const TemporaryFolder folder;
  LinuxRegistry first = StoreIn(folder.path()), second = StoreIn(folder.path());
  ASSERT_EQ(first.CreateKey(kTestKey), RegistryStatus::kOk);
  for (std::uint32_t round = 0; round < 3; ++round) {
    for (LinuxRegistry* const registry : {&first, &second}) {
      RegistryKey key = kTestKey;
      key.path += "\\Sub"_w;
      ASSERT_EQ(registry->CreateKey(key), RegistryStatus::kOk);
      ASSERT_EQ(registry->SetValue(key, "Name"_w, RegistryValue::Dword(round)),
                RegistryStatus::kOk);
      ASSERT_EQ(registry->SetValue(key, "Name"_w, RegistryValue::Text("other"_w)),
                RegistryStatus::kOk);
      ASSERT_EQ(registry->SetValue(key, "Name"_w, RegistryValue::Text("other"_w)),
                RegistryStatus::kOk);
    }
    for (LinuxRegistry* const registry : {&first, &second}) {
      ASSERT_EQ(registry->SetValue(kTestKey, "Mine"_w, RegistryValue::Dword(round)),
                RegistryStatus::kOk);
      ASSERT_EQ(registry->DeleteValue(kTestKey, "Mine"_w), RegistryStatus::kOk);
      RegistryValue value;
      ASSERT_EQ(registry->Get(kTestKey, "Mine"_w, value), RegistryStatus::kNotFound);
    }
    ASSERT_EQ(first.DeleteKey(kTestKey), RegistryStatus::kOk);
    ASSERT_EQ(second.CreateKey(kTestKey), RegistryStatus::kOk);
    ASSERT_EQ(first.DeleteKey(kTestKey), RegistryStatus::kOk);
    ASSERT_FALSE(second.Exists(kTestKey));
    ASSERT_EQ(second.CreateKey(kTestKey), RegistryStatus::kOk);
  }
}

TEST(LinuxRegistryTest, WritersOfOneProcessWaitForEachOtherWithoutAnEnd) {
  const TemporaryFolder folder;
  LinuxRegistry registry([&] { return folder.path(); }, {}, std::chrono::milliseconds(0));
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  const auto write = [&registry](const WString& name) {
    for (std::uint32_t round = 0; round < 20; ++round) {
      std::vector<RegistryEdit> edits;
      for (std::uint32_t i = 0; i < 200; ++i) {
        edits.push_back(
            {RegistryAction::kSetValue, kTestKey, name, RegistryValue::Dword(200 * round + i)});
      }
      EXPECT_EQ(registry.Apply(edits), RegistryStatus::kOk);
    }
  };
  std::thread other(write, "Other"_w);
  write("Own"_w);
  other.join();
}

TEST(LinuxRegistryTest, ARootHasValuesAndKeysToo) {
  const TemporaryFolder folder;
  LinuxRegistry registry = StoreIn(folder.path());
  const RegistryKey root{HKEY_LOCAL_MACHINE, {}, {}, {}};
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  ASSERT_EQ(registry.SetValue(root, "Name"_w, RegistryValue::Dword(1)), RegistryStatus::kOk);
  std::vector<RegistryEntry> values;
  EXPECT_EQ(registry.Values(root, values, 10), RegistryStatus::kOk);
  EXPECT_THAT(values, ElementsAre(RegistryEntry{"Name"_w, RegistryValue::Dword(1)}));
  std::vector<WString> names;
  EXPECT_EQ(registry.SubKeys(root, names), RegistryStatus::kOk);
  EXPECT_THAT(names, ElementsAre("SOFTWARE"_w));
  EXPECT_EQ(registry.DeleteValue(root, "Name"_w), RegistryStatus::kOk);
}

TEST(LinuxRegistryTest, WhatWasReadIsRememberedUntilACommit) {
  const TemporaryFolder folder;
  LinuxRegistry registry = StoreIn(folder.path());
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  ASSERT_EQ(registry.SetValue(kTestKey, "Name"_w, RegistryValue::Dword(1)), RegistryStatus::kOk);
  RegistryValue value;
  ASSERT_EQ(registry.Get(kTestKey, "Name"_w, value), RegistryStatus::kOk);
  ASSERT_TRUE(registry.Exists(kTestKey));
  // Not counted, as no process of this library writes.
  Open(folder.path()).Run("DELETE FROM key; DELETE FROM value");
  EXPECT_EQ(registry.Get(kTestKey, "Name"_w, value), RegistryStatus::kOk);
  EXPECT_TRUE(registry.Exists(kTestKey));
  { const CommitCounter::Commit commit{yox::platform::PrivateFolder(folder.path())}; }
  EXPECT_EQ(registry.Get(kTestKey, "Name"_w, value), RegistryStatus::kNotFound);
  EXPECT_FALSE(registry.Exists(kTestKey));
}

TEST(LinuxRegistryTest, NamesOfKeyAndValueDoNotRunTogether) {
  const TemporaryFolder folder;
  LinuxRegistry registry = StoreIn(folder.path());
  RegistryKey longer = kTestKey;
  longer.path +=
      "\x01"
      "A"_w;
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  ASSERT_EQ(registry.CreateKey(longer), RegistryStatus::kOk);
  ASSERT_EQ(registry.SetValue(kTestKey,
                              "A\x01"
                              "B"_w,
                              RegistryValue::Dword(1)),
            RegistryStatus::kOk);
  ASSERT_EQ(registry.SetValue(longer, "B"_w, RegistryValue::Dword(2)), RegistryStatus::kOk);
  RegistryValue value;
  ASSERT_EQ(registry.Get(kTestKey,
                         "A\x01"
                         "B"_w,
                         value),
            RegistryStatus::kOk);
  EXPECT_EQ(value, RegistryValue::Dword(1));
  ASSERT_EQ(registry.Get(longer, "B"_w, value), RegistryStatus::kOk);
  EXPECT_EQ(value, RegistryValue::Dword(2));
}

TEST(LinuxRegistryTest, AReadSeesWhatAnotherHasWrittenHoweverOftenItReadBefore) {
  const TemporaryFolder folder;
  LinuxRegistry writer = StoreIn(folder.path());
  LinuxRegistry reader = StoreIn(folder.path());
  for (std::uint32_t round = 0; round < 100; ++round) {
    ASSERT_EQ(writer.CreateKey(kTestKey), RegistryStatus::kOk);
    ASSERT_TRUE(reader.Exists(kTestKey));
    RegistryValue value;
    ASSERT_EQ(reader.Get(kTestKey, "Name"_w, value), RegistryStatus::kNotFound);
    ASSERT_EQ(writer.SetValue(kTestKey, "Name"_w, RegistryValue::Dword(round)),
              RegistryStatus::kOk);
    for (int again = 0; again < 2; ++again) {
      ASSERT_EQ(reader.Get(kTestKey, "Name"_w, value), RegistryStatus::kOk);
      ASSERT_EQ(value, RegistryValue::Dword(round));
    }
    ASSERT_EQ(writer.DeleteKey(kTestKey), RegistryStatus::kOk);
    ASSERT_FALSE(reader.Exists(kTestKey));
  }
}

TEST(LinuxRegistryTest, MoreCanBeReadThanIsRemembered) {
  constexpr std::uint32_t kValues = 1000;
  const auto name = [](std::uint32_t i) { return String::UTF8ToUTF16(std::to_string(i)); };
  const TemporaryFolder folder;
  LinuxRegistry registry = StoreIn(folder.path());
  std::vector<RegistryEdit> edits{{RegistryAction::kCreateKey, kTestKey, {}, {}}};
  for (std::uint32_t i = 0; i < kValues; ++i) {
    edits.push_back({RegistryAction::kSetValue, kTestKey, name(i), RegistryValue::Dword(i)});
  }
  ASSERT_EQ(registry.Apply(edits), RegistryStatus::kOk);
  for (std::uint32_t i = 0; i < 2 * kValues; ++i) {
    RegistryValue value;
    ASSERT_EQ(registry.Get(kTestKey, name(i % kValues), value), RegistryStatus::kOk);
    ASSERT_EQ(value, RegistryValue::Dword(i % kValues));
  }
}

TEST(LinuxRegistryTest, AUserHasAnIdentifierAndTheSystemsIsEmpty) {
  EXPECT_EQ(LinuxRegistry::UserIdentifier(0), ""_w);
  EXPECT_EQ(LinuxRegistry::UserIdentifier(1), "S-1-22-1-1"_w);
  EXPECT_EQ(LinuxRegistry::UserIdentifier(65534), "S-1-22-1-65534"_w);
}

TEST(LinuxRegistryTest, TheSystemsOwnHiveBelongsToItsAccount) {
  const TemporaryFolder folder;
  LinuxRegistry registry = StoreIn(folder.path(), 0);
  const RegistryKey key{HKEY_CURRENT_USER, "Software"_w, {}, {}};
  ASSERT_EQ(registry.CreateKey(key), RegistryStatus::kOk);
  EXPECT_TRUE(registry.Exists({HKEY_USERS, "S-1-5-18\\Software"_w, {}, {}}));
}

TEST(LinuxRegistryTest, AStoreOpenToOthersIsClosedToThem) {
  const TemporaryFolder folder;
  ASSERT_EQ(StoreIn(folder.path()).CreateKey(kTestKey), RegistryStatus::kOk);
  const fs::path file = folder.path() / "registry.db";
  for (const fs::perms others :
       {fs::perms::group_read, fs::perms::group_write, fs::perms::group_exec,
        fs::perms::others_read, fs::perms::others_write, fs::perms::others_exec,
        fs::perms::group_all | fs::perms::others_all}) {
    fs::permissions(file, fs::perms::owner_all | others);
    ASSERT_EQ(StoreIn(folder.path()).CreateKey(kTestKey), RegistryStatus::kOk);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_all);
  }
}

TEST(LinuxRegistryTest, AStoreWhoseMakerWasKilledEarlyIsMadeByTheNext) {
  const TemporaryFolder folder;
  std::ofstream(folder.path() / "registry.db").close();
  LinuxRegistry registry = StoreIn(folder.path());
  EXPECT_FALSE(registry.Exists(kTestKey));
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  EXPECT_TRUE(registry.Exists(kTestKey));
}

// As many edits of values that the key does not have yet.
std::vector<RegistryEdit> NewValues(std::uint32_t count, std::uint32_t first = 0) {
  std::vector<RegistryEdit> edits;
  for (std::uint32_t i = first; i < first + count; ++i) {
    edits.push_back({RegistryAction::kSetValue, kTestKey, String::UTF8ToUTF16(std::to_string(i)),
                     RegistryValue::Dword(i)});
  }
  return edits;
}

TEST(LinuxRegistryTest, AWatchThatMissesTooMuchSaysSo) {
  const TemporaryFolder folder;
  LinuxRegistry registry = StoreIn(folder.path());
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  RegistryReports reports;
  std::unique_ptr<RegistryWatch> watch;
  ASSERT_EQ(registry.Watch(kTestKey, reports.Callback(), watch), RegistryStatus::kOk);
  ASSERT_EQ(registry.Apply(NewValues(10'001)), RegistryStatus::kOk);
  EXPECT_TRUE(reports.WaitFor("lost"));
  ASSERT_EQ(registry.SetValue(kTestKey, "Then"_w, RegistryValue::Dword(1)), RegistryStatus::kOk);
  EXPECT_TRUE(reports.WaitFor("set :Then"));
  EXPECT_THAT(reports.All(), ElementsAre("lost", "set :Then"));
}

std::vector<StoredChange> ChangesSince(const fs::path& folder, std::int64_t seen) {
  return RegistryStore::OpenExisting(folder, std::chrono::seconds(10))->ChangesSince(seen);
}

TEST(LinuxRegistryTest, TheLatestTenThousandChangesAreRecorded) {
  const TemporaryFolder folder;
  LinuxRegistry registry = StoreIn(folder.path());
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);  // changes 1 to 3
  EXPECT_EQ(ChangesSince(folder.path(), 3).size(), 0U);
  ASSERT_EQ(registry.Apply(NewValues(10'000)), RegistryStatus::kOk);
  const auto of_one_transaction = ChangesSince(folder.path(), 3);
  ASSERT_EQ(of_one_transaction.size(), 10'000U);
  EXPECT_FALSE(of_one_transaction.front().change.lost);
  EXPECT_EQ(of_one_transaction.front().change.name, "0"_w);
  ASSERT_EQ(registry.Apply(NewValues(10, 10'000)), RegistryStatus::kOk);

  // Of 10,013 changes the first 13 are forgotten: the 12th is not known to be followed by the 14th.
  for (const std::int64_t seen : {0, 12}) {
    const auto changes = ChangesSince(folder.path(), seen);
    ASSERT_EQ(changes.size(), 10'001U) << seen;
    EXPECT_TRUE(changes[0].change.lost);
    EXPECT_EQ(changes[0].id, 13);
    EXPECT_FALSE(changes[1].change.lost);
    EXPECT_EQ(changes[1].id, 14);
  }
  const auto changes = ChangesSince(folder.path(), 13);
  ASSERT_EQ(changes.size(), 10'000U);
  EXPECT_EQ(changes[0].id, 14);
  EXPECT_FALSE(changes[0].change.lost);
}

TEST(LinuxRegistryTest, AConnectionHasItsSettings) {
  const TemporaryFolder folder;
  const auto store = RegistryStore::Create(folder.path(), std::chrono::seconds(10));
  EXPECT_EQ(store->database().Number("PRAGMA synchronous"), 1);  // NORMAL
  EXPECT_EQ(store->database().Number("PRAGMA cache_size"), -16384);
  EXPECT_EQ(store->LastChange(), 0);
}

std::ptrdiff_t ThreadsOfThisProcess() {
  return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
}

TEST(LinuxRegistryTest, AllWatchesShareOneThread) {
  const TemporaryFolder folder;
  LinuxRegistry registry = StoreIn(folder.path());
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  std::thread([] {}).join();  // with the first one, ThreadSanitizer starts a thread of its own
  const std::ptrdiff_t before = ThreadsOfThisProcess();
  std::array<std::unique_ptr<RegistryWatch>, 3> watches;
  for (auto& watch : watches) {
    ASSERT_EQ(registry.Watch(
                  kTestKey, [](const auto&) {}, watch),
              RegistryStatus::kOk);
  }
  EXPECT_EQ(ThreadsOfThisProcess(), before + 1);
}

TEST(LinuxRegistryTest, AWatchIsToldOnlyWhatCameAfterIt) {
  const TemporaryFolder folder;
  LinuxRegistry registry = StoreIn(folder.path());
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  Latch called, go_on;
  RegistryReports reports;
  std::unique_ptr<RegistryWatch> late, former;
  const auto changed = [&](const auto&) {
    called.CountDown();
    EXPECT_TRUE(go_on.Wait());
  };
  ASSERT_EQ(registry.Watch(kTestKey, changed, former), RegistryStatus::kOk);
  ASSERT_EQ(registry.SetValue(kTestKey, "One"_w, RegistryValue::Dword(1)), RegistryStatus::kOk);
  EXPECT_TRUE(called.Wait());
  // The thread is in the call: that it reads for the former watch alone.
  ASSERT_EQ(registry.SetValue(kTestKey, "Two"_w, RegistryValue::Dword(1)), RegistryStatus::kOk);
  ASSERT_EQ(registry.Watch(kTestKey, reports.Callback(), late), RegistryStatus::kOk);
  go_on.CountDown();
  ASSERT_EQ(registry.SetValue(kTestKey, "Three"_w, RegistryValue::Dword(1)), RegistryStatus::kOk);
  EXPECT_TRUE(reports.WaitFor("set :Three"));
  EXPECT_THAT(reports.All(), ElementsAre("set :Three"));
}

TEST(LinuxRegistryTest, AKeyThatIsDeletedMeanwhileIsNotWatched) {
  const TemporaryFolder folder;
  LinuxRegistry other = StoreIn(folder.path());
  ASSERT_EQ(other.CreateKey(kTestKey), RegistryStatus::kOk);
  int asked = 0;
  LinuxRegistry registry(
      [&] {
        // First for the connection that finds the key, then for the thread that watches.
        if (++asked == 2) {
          EXPECT_EQ(other.DeleteKey(kTestKey), RegistryStatus::kOk);
        }
        return folder.path();
      },
      {});
  std::unique_ptr<RegistryWatch> watch;
  EXPECT_EQ(registry.Watch(
                kTestKey, [](const auto&) {}, watch),
            RegistryStatus::kNotFound);
  EXPECT_EQ(watch, nullptr);
  EXPECT_EQ(asked, 2);
}

TEST(LinuxRegistryTest, AHundredThousandValuesInOneKeyEnumerate) {
  const TemporaryFolder folder;
  LinuxRegistry registry = StoreIn(folder.path());
  constexpr std::uint32_t kCount = 100'000;
  std::vector<RegistryEdit> edits{{RegistryAction::kCreateKey, kTestKey, {}, {}}};
  for (std::uint32_t i = 0; i < kCount; ++i) {
    edits.push_back({RegistryAction::kSetValue, kTestKey, String::UTF8ToUTF16(std::to_string(i)),
                     RegistryValue::Dword(i)});
  }
  ASSERT_EQ(registry.Apply(edits), RegistryStatus::kOk);
  std::vector<RegistryEntry> values;
  ASSERT_EQ(registry.Values(kTestKey, values, 16383), RegistryStatus::kOk);
  ASSERT_EQ(values.size(), kCount);
  std::vector<bool> seen(kCount);
  for (const RegistryEntry& entry : values) {
    const auto number = static_cast<std::uint32_t>(String::ToInteger(entry.name));
    EXPECT_EQ(entry.value, RegistryValue::Dword(number));
    seen.at(number) = true;
  }
  EXPECT_EQ(std::ranges::count(seen, true), kCount);
}

// A process of its own, with a pipe to it and one from it. Made before this process opens a store:
// SQLite's connections do not survive a fork.
class ChildProcess {
 public:
  template <class Function>
  explicit ChildProcess(Function function) {
    std::array<int, 2> in{}, out{};
    EXPECT_EQ(pipe(in.data()), 0);
    EXPECT_EQ(pipe(out.data()), 0);
    process_ = fork();
    if (process_ == 0) {
      close(in[1]);
      close(out[0]);
      function(in[0], out[1]);
      _exit(0);
    }
    close(in[0]);
    close(out[1]);
    in_ = in[1];
    out_ = out[0];
  }
  ~ChildProcess() {
    if (process_ > 0) Kill();
    close(in_);
    close(out_);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void Tell() const { EXPECT_EQ(write(in_, "!", 1), 1); }
  int output() const { return out_; }

  void Kill() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = 0;
  }
  // Closes its input and gives its exit code.
  int End() {
    close(std::exchange(in_, -1));
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t process_ = -1;
  int in_ = -1;
  int out_ = -1;
};

void AwaitWord(int input) {
  char word = 0;
  if (read(input, &word, 1) != 1) _exit(1);
}

RegistryKey Numbered(std::size_t number) {
  RegistryKey key = kTestKey;
  key.path += "\\"_w + String::UTF8ToUTF16(std::to_string(number));
  return key;
}

std::uint32_t DwordOf(Registry& registry, const RegistryKey& key, const WString& name) {
  RegistryValue value;
  if (registry.Get(key, name, value) != RegistryStatus::kOk || value.data.size() != 4) return 0;
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) number |= std::uint32_t{value.data[i]} << (8 * i);
  return number;
}

TEST(LinuxRegistryProcessTest, AWatchSeesWhatAnotherProcessWrites) {
  const TemporaryFolder folder;
  ChildProcess writer([&](int input, int) {
    AwaitWord(input);
    LinuxRegistry registry = StoreIn(folder.path());
    const auto status = registry.SetValue(kTestKey, "Name"_w, RegistryValue::Text("written"_w));
    _exit(status == RegistryStatus::kOk ? 0 : 2);
  });
  LinuxRegistry registry = StoreIn(folder.path());
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  RegistryReports reports;
  std::unique_ptr<RegistryWatch> watch;
  ASSERT_EQ(registry.Watch(kTestKey, reports.Callback(), watch), RegistryStatus::kOk);
  writer.Tell();
  EXPECT_TRUE(reports.WaitFor("set :Name"));
  RegistryValue value;
  EXPECT_EQ(registry.Get(kTestKey, "Name"_w, value), RegistryStatus::kOk);
  EXPECT_EQ(value, RegistryValue::Text("written"_w));
  EXPECT_EQ(writer.End(), 0);
}

TEST(LinuxRegistryProcessTest, ATrackerSeesWhatAnotherProcessWrites) {
  constexpr std::uint32_t kWrites = 50;
  const TemporaryFolder folder;
  ChildProcess writer([&](int input, int output) {
    LinuxRegistry registry = StoreIn(folder.path());
    for (std::uint32_t number = 1; number <= kWrites; ++number) {
      AwaitWord(input);
      const auto status = registry.SetValue(kTestKey, "Name"_w, RegistryValue::Dword(number));
      if (status != RegistryStatus::kOk || write(output, "!", 1) != 1) _exit(2);
    }
    _exit(0);
  });
  LinuxRegistry registry = StoreIn(folder.path());
  ASSERT_EQ(registry.CreateKey(kTestKey), RegistryStatus::kOk);
  const auto tracker = registry.Track({&kTestKey, 1});
  auto last = tracker->Generation();
  ASSERT_TRUE(last);
  for (std::uint32_t number = 1; number <= kWrites; ++number) {
    EXPECT_EQ(tracker->Generation(), last);
    writer.Tell();
    char word = 0;
    ASSERT_EQ(read(writer.output(), &word, 1), 1);
    const auto next = tracker->Generation();
    EXPECT_TRUE(next);
    EXPECT_NE(next, last);
    EXPECT_EQ(DwordOf(registry, kTestKey, "Name"_w), number);
    last = next;
  }
  EXPECT_EQ(writer.End(), 0);
}

TEST(LinuxRegistryProcessTest, SeveralProcessesWriteAtOnceAndNothingIsLost) {
  const TemporaryFolder folder;
  constexpr std::uint32_t kProcesses = 4, kWrites = 100;
  std::vector<std::unique_ptr<ChildProcess>> writers;
  for (std::uint32_t i = 0; i < kProcesses; ++i) {
    writers.push_back(std::make_unique<ChildProcess>([&, i](int input, int) {
      AwaitWord(input);
      LinuxRegistry registry = StoreIn(folder.path());
      for (std::uint32_t n = 0; n < kWrites; ++n) {
        const WString name = String::UTF8ToUTF16(std::to_string(i * kWrites + n));
        if (registry.CreateKey(kTestKey) != RegistryStatus::kOk ||
            registry.SetValue(kTestKey, name, RegistryValue::Dword(n)) != RegistryStatus::kOk) {
          _exit(2);
        }
      }
    }));
  }
  // The store itself is made by the first process.
  for (const auto& writer : writers) writer->Tell();
  for (const auto& writer : writers) EXPECT_EQ(writer->End(), 0);
  LinuxRegistry registry = StoreIn(folder.path());
  std::vector<RegistryEntry> values;
  ASSERT_EQ(registry.Values(kTestKey, values, 16383), RegistryStatus::kOk);
  EXPECT_EQ(values.size(), kProcesses * kWrites);
}

// Four writers at a time, each killed at a random moment, a thousand in all: whatever they had
// reported as written is there, whole, and a watcher in another process reported it.
TEST(LinuxRegistryProcessTest, AThousandKilledWritersLoseNothingAndTearNothing) {
  constexpr std::size_t kWriters = 4, kRounds = 250;
  const TemporaryFolder folder;
  {
    LinuxRegistry registry = StoreIn(folder.path());
    for (std::size_t i = 0; i < kWriters; ++i) {
      ASSERT_EQ(registry.CreateKey(Numbered(i)), RegistryStatus::kOk);
    }
  }
  struct Report {
    std::uint32_t writer;
    std::uint32_t number;
  };
  ChildProcess observer([&](int input, int output) {
    LinuxRegistry registry = StoreIn(folder.path());
    std::unique_ptr<RegistryWatch> watch;
    const auto status = registry.Watch(
        kTestKey,
        [&](const auto&) {
          for (std::uint32_t i = 0; i < kWriters; ++i) {
            const Report report{i, DwordOf(registry, Numbered(i), "First"_w)};
            if (write(output, &report, sizeof report) != sizeof report) _exit(2);
          }
        },
        watch);
    if (status != RegistryStatus::kOk) _exit(3);
    const Report ready{kWriters, 0};
    if (write(output, &ready, sizeof ready) != sizeof ready) _exit(2);
    AwaitWord(input);
  });
  std::array<std::uint32_t, kWriters + 1> observed{};
  const auto observe = [&] {
    Report report{};
    pollfd source{observer.output(), POLLIN, 0};
    if (poll(&source, 1, 10'000) != 1) return false;
    if (read(observer.output(), &report, sizeof report) != sizeof report) return false;
    observed.at(report.writer) = report.number;
    return true;
  };
  ASSERT_TRUE(observe());

  std::mt19937 random(20260301);  // NOLINT: the same moments every time
  std::uniform_int_distribution<long> nanoseconds(0, 2'000'000);
  std::array<std::uint32_t, kWriters> acknowledged{};
  std::size_t interrupted = 0;
  for (std::size_t round = 0; round < kRounds; ++round) {
    std::vector<std::unique_ptr<ChildProcess>> writers;
    for (std::size_t i = 0; i < kWriters; ++i) {
      writers.push_back(std::make_unique<ChildProcess>([&, i](int, int output) {
        LinuxRegistry registry = StoreIn(folder.path());
        const RegistryKey key = Numbered(i);
        for (std::uint32_t number = acknowledged.at(i) + 1;; ++number) {
          const auto size = 1 + number * 7919 % 9000;
          const RegistryEdit edits[] = {
              {RegistryAction::kSetValue, key, "First"_w, RegistryValue::Dword(number)},
              {RegistryAction::kSetValue, key, "Bytes"_w,
               RegistryValue::Binary(std::vector(size, static_cast<std::uint8_t>(number)))},
              {RegistryAction::kSetValue, key, "Second"_w, RegistryValue::Dword(number)},
          };
          if (registry.Apply(edits) != RegistryStatus::kOk) _exit(2);
          if (write(output, &number, sizeof number) != sizeof number) _exit(3);
        }
      }));
    }
    for (std::size_t i = 0; i < kWriters; ++i) {
      // Until it reported once, and for a random while after that.
      pollfd source{writers[i]->output(), POLLIN, 0};
      ASSERT_EQ(poll(&source, 1, 10'000), 1);
      const auto end =
          std::chrono::steady_clock::now() + std::chrono::nanoseconds(nanoseconds(random));
      while (std::chrono::steady_clock::now() < end) {
      }
      writers[i]->Kill();
      std::uint32_t number = 0;
      while (read(writers[i]->output(), &number, sizeof number) == sizeof number) {
        acknowledged.at(i) = number;
      }
    }
    LinuxRegistry registry = StoreIn(folder.path());
    for (std::size_t i = 0; i < kWriters; ++i) {
      const std::uint32_t first = DwordOf(registry, Numbered(i), "First"_w);
      RegistryValue bytes;
      ASSERT_EQ(registry.Get(Numbered(i), "Bytes"_w, bytes), RegistryStatus::kOk);
      ASSERT_EQ(first, DwordOf(registry, Numbered(i), "Second"_w));
      ASSERT_EQ(bytes.data.size(), 1 + first * 7919 % 9000);
      ASSERT_TRUE(std::ranges::all_of(
          bytes.data, [&](std::uint8_t byte) { return byte == static_cast<std::uint8_t>(first); }));
      ASSERT_GE(first, acknowledged.at(i));
      ASSERT_LE(first, acknowledged.at(i) + 1);
      interrupted += first == acknowledged.at(i) + 1;
      acknowledged.at(i) = first;
      while (observed.at(i) < first) ASSERT_TRUE(observe()) << "nobody told the watcher";
    }
    if (round % 50 == 0) {
      Database check = Open(folder.path());
      auto integrity = check.Prepare("PRAGMA integrity_check");
      ASSERT_TRUE(integrity.Step());
      ASSERT_EQ(integrity.Bytes(0), "ok");
    }
  }
  RecordProperty("killed_between_commit_and_report", static_cast<int>(interrupted));
  observer.Tell();
  EXPECT_EQ(observer.End(), 0);
}

}  // namespace
}  // namespace yox_test
