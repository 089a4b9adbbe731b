#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <string>

#include "yox/base/String.h"
#include "yox/clientbase/CoreUtility.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/policy/MqttChainFiles.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/trust/Material.h"

namespace {

using YOX::String;
using namespace yox_test;

const std::string kFormerChain = kRootACertificate;
const std::string kOtherChain = kRootBCertificate;

class FullDiskTest : public MqttChainFiles {
 protected:
  static bool Store(const std::string& chain) { return PolicyOf(chain).updateMqttCertChain(); }
  // The files in the folder of the bridge file.
  std::size_t FilesBesideTheBridge() const {
    const auto folder = FileSystem::Locate(String::UTF8ToUTF16(bridge_)).parent_path();
    const std::filesystem::directory_iterator files(folder);
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }

  CapturedLog log_;
};

TEST_F(FullDiskTest, ABridgeFileThatDoesNotFitLeavesTheFormerOneAndTheCombinedFile) {
  ASSERT_TRUE(Store(kFormerChain));
  const std::string combined = Read(combined_);
  bool stored = true;
  {
    const FileSizeLimit limit(kOtherChain.size() / 2);
    stored = Store(kOtherChain);
  }
  EXPECT_FALSE(stored);
  EXPECT_EQ(Read(bridge_), kFormerChain);
  EXPECT_EQ(Read(combined_), combined);
  EXPECT_EQ(FilesBesideTheBridge(), 2U);
  const std::string line = log_.Lines().back().text;
  EXPECT_TRUE(line.starts_with("PlatformPolicy::storeMqttCertChain, Exception: ")) << line;
  EXPECT_TRUE(line.ends_with("mqtt-bridge.pem: File too large")) << line;
}

TEST_F(FullDiskTest, AFirstBridgeFileThatDoesNotFitLeavesNothing) {
  bool stored = true;
  {
    const FileSizeLimit limit(kFormerChain.size() / 2);
    stored = Store(kFormerChain);
  }
  EXPECT_FALSE(stored);
  EXPECT_EQ(FilesBesideTheBridge(), 0U);
}

TEST_F(FullDiskTest, ACombinedFileThatDoesNotFitLeavesTheFormerOneUntilTheNextStore) {
  ASSERT_TRUE(Store(kFormerChain));
  Write(embedded_, kOtherChain);
  bool stored = false;
  {
    const FileSizeLimit limit(kFormerChain.size() + kOtherChain.size() / 2);
    stored = Store(kFormerChain);
  }
  EXPECT_TRUE(stored);  // the chain was written
  EXPECT_EQ(Read(bridge_), kFormerChain);
  EXPECT_EQ(Read(combined_), kFormerChain + "\n");
  EXPECT_EQ(log_.Lines().back().text,
            "PlatformPolicy::AccumulateMqttCertChain, Issue occured while trying to remove "
            "potential expired and duplicate certs.");
  EXPECT_EQ(FilesBesideTheBridge(), 2U);
  EXPECT_TRUE(Store(kFormerChain));
  EXPECT_EQ(Read(combined_), kFormerChain + "\n" + kOtherChain + "\n");
}

TEST_F(FullDiskTest, ACleaningThatDoesNotFitLeavesTheFileAsItWas) {
  const std::string uncleaned = kFormerChain + kExpiredCertificate + kOtherChain;
  Write(combined_, uncleaned);
  bool cleaned = true;
  {
    const FileSizeLimit limit(kFormerChain.size());
    cleaned = YOX::CoreUtility::RemoveExpiredAndDuplicateCertsFromFile(combined_);
  }
  EXPECT_FALSE(cleaned);
  EXPECT_EQ(Read(combined_), uncleaned);
  EXPECT_EQ(FilesBesideTheBridge(), 1U);
}

}  // namespace
