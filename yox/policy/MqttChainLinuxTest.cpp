#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "yox/base/String.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/policy/MqttChainFiles.h"

#include "tests/trust/Material.h"

namespace {

namespace fs = std::filesystem;

class MqttChainLinuxTest : public yox_test::MqttChainFiles {
 protected:
  fs::path Bridge() const { return FileSystem::Locate(YOX::String::UTF8ToUTF16(bridge_)); }
  fs::path Combined() const { return FileSystem::Locate(YOX::String::UTF8ToUTF16(combined_)); }
  static fs::perms Mode(const fs::path& file) { return fs::symlink_status(file).permissions(); }
};

TEST_F(MqttChainLinuxTest, ModesAreSetWhateverTheUmask) {
  for (const mode_t mask : {0U, 077U}) {
    umask(mask);
    ASSERT_TRUE(PolicyOf(yox_test::kRootACertificate).updateMqttCertChain());
    EXPECT_EQ(Mode(Bridge()), fs::perms{0600});
    EXPECT_EQ(Mode(Combined()), fs::perms{0644});
    EXPECT_EQ(Mode(Bridge().parent_path()), fs::perms{0700});
    EXPECT_EQ(Mode(Bridge().parent_path().parent_path()), fs::perms{0700});
    fs::remove_all(Bridge().parent_path().parent_path());
    ASSERT_TRUE(YOX::utility::getBridgeMqttPemFilePath(bridge_));
  }
}

// What one who may write to the folder could put there.
TEST_F(MqttChainLinuxTest, LinksInTheFolderLeadNowhere) {
  const fs::path victim = device_.files().folder() / "victim";
  std::ofstream(victim) << "untouched";
  for (const fs::path& link : {Bridge(), Combined()}) {
    fs::create_symlink(victim, link);
    fs::create_symlink(victim, fs::path(link).concat(".new"));
  }
  ASSERT_TRUE(PolicyOf(yox_test::kRootACertificate).updateMqttCertChain());
  EXPECT_EQ(fs::file_size(victim), 9U);
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(Bridge())));
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(Combined())));
}

}  // namespace
