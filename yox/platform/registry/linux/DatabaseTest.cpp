#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "yox/platform/registry/linux/Database.h"
#include "yox/platform/registry/linux/RegistryStore.h"

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

}  // namespace
}  // namespace yox::platform
