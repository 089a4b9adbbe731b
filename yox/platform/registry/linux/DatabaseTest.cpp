#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "yox/platform/registry/linux/Database.h"
#include "yox/platform/registry/linux/RegistryStore.h"

#include "tests/support/FileSizeLimit.h"
#include "tests/support/TemporaryFolder.h"

namespace yox::platform {
namespace {

// SQLite is given such a database by an URI.
TEST(DatabaseTest, ADatabaseWithoutLocksMayHaveAnyName) {
  const yox_test::TemporaryFolder temporary;
  for (const char* const name : {"a b", "50%41", "what?mode=ro", "#1", "größe", "\x7F\x01~"}) {
    const std::filesystem::path folder = temporary.path() / name;
    RegistryStore::Create(folder, std::chrono::seconds(10));
    Database database(folder / RegistryStore::kFile, Database::Access::kImmutable);
    EXPECT_GT(database.Number("SELECT count(*) FROM sqlite_master"), 0) << name;
  }
}

class DatabaseOfItsOwnTest : public testing::Test {
 protected:
  DatabaseOfItsOwnTest() { RegistryStore::Create(temporary_.path(), std::chrono::seconds(10)); }
  std::filesystem::path file() const { return temporary_.path() / RegistryStore::kFile; }

 private:
  const yox_test::TemporaryFolder temporary_;
};

std::string ErrorOf(const std::function<void()>& work) try {
  work();
  return "none";
} catch (const DatabaseError& error) {
  return error.what();
}

TEST_F(DatabaseOfItsOwnTest, ANumberWithoutARowIsZero) {
  Database database(file());
  EXPECT_EQ(database.Number("SELECT 7"), 7);
  EXPECT_EQ(database.Number("SELECT 7 WHERE 0"), 0);
}

TEST_F(DatabaseOfItsOwnTest, AFailedSystemCallIsNamedByItsNumber) {
  EXPECT_EQ(ErrorOf([&] { Database(file().parent_path() / "missing"); }),
            "unable to open database file, error number 2");
  Database database(file());
  EXPECT_EQ(ErrorOf([&] { database.Run("no SQL"); }),
            "the file is damaged (near \"no\": syntax error)");
  const yox_test::FileSizeLimit limit(0);
  EXPECT_EQ(ErrorOf([&] { database.Run("PRAGMA user_version = 2"); }),
            "disk I/O error, error number 27");
}

TEST_F(DatabaseOfItsOwnTest, ALockIsAwaitedAMillisecondAtATime) {
  Database other(file());
  other.Run("BEGIN IMMEDIATE");
  Database database(file(), Database::Access::kShared, std::chrono::milliseconds(15));
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(ErrorOf([&] { database.Run("BEGIN IMMEDIATE"); }),
            "another process keeps it locked (database is locked)");
  const auto passed = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(passed, std::chrono::milliseconds(15));
  EXPECT_LT(passed, std::chrono::seconds(10));
  EXPECT_TRUE(other.IsInTransaction());
  EXPECT_FALSE(database.IsInTransaction());
}

}  // namespace
}  // namespace yox::platform
