#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <iterator>
#include <string>

#include "yox/base/String.h"
#include "yox/clientbase/CoreUtility.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/policy/MqttChainFiles.h"

#include "tests/support/CapturedLog.h"
#include "tests/trust/Material.h"

namespace {

using YOX::String;
using namespace yox_test;

const std::string kA = kRootACertificate;
const std::string kB = kRootBCertificate;

// As long as it stands, writing a file beyond so many bytes fails in the middle, as it does on a
// disk that is full.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(std::size_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &former_), 0);
    const rlimit limit{bytes, former_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &former_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit former_{};
  void (*handler_)(int);
};

class FullDiskTest : public MqttChainFiles {
 protected:
  static bool Store(const std::string& chain) { return PolicyOf(chain).updateMqttCertChain(); }
  std::size_t FilesBesideTheBridge() const {
    const auto folder = FileSystem::Locate(String::UTF8ToUTF16(bridge_)).parent_path();
    const std::filesystem::directory_iterator files(folder);
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }

  CapturedLog log_;
};

TEST_F(FullDiskTest, ABridgeFileThatDoesNotFitLeavesTheFormerOneAndTheCombinedFile) {
  ASSERT_TRUE(Store(kA));
  const std::string combined = Read(combined_);
  bool stored = true;
  {
    const FileSizeLimit limit(kB.size() / 2);
    stored = Store(kB);
  }
  EXPECT_FALSE(stored);
  EXPECT_EQ(Read(bridge_), kA);
  EXPECT_EQ(Read(combined_), combined);
  EXPECT_EQ(FilesBesideTheBridge(), 2U);
  EXPECT_EQ(log_.Lines().back().text,
            "PlatformPolicy::storeMqttCertChain, Exception: the file cannot be written");
}

TEST_F(FullDiskTest, AFirstBridgeFileThatDoesNotFitLeavesNothing) {
  bool stored = true;
  {
    const FileSizeLimit limit(kA.size() / 2);
    stored = Store(kA);
  }
  EXPECT_FALSE(stored);
  EXPECT_EQ(FilesBesideTheBridge(), 0U);
}

TEST_F(FullDiskTest, ACombinedFileThatDoesNotFitIsABeginningUntilTheNextStore) {
  Write(embedded_, kB);
  const std::string whole = kA + "\n" + kB + "\n";
  const std::size_t most = kA.size() + kB.size() / 2;
  bool stored = false;
  {
    const FileSizeLimit limit(most);
    stored = Store(kA);
  }
  EXPECT_TRUE(stored);  // the chain was written
  EXPECT_EQ(Read(bridge_), kA);
  EXPECT_LE(Read(combined_).size(), most);
  EXPECT_TRUE(whole.starts_with(Read(combined_)));
  EXPECT_EQ(log_.Lines().back().text,
            "PlatformPolicy::AccumulateMqttCertChain, Issue occured while trying to remove "
            "potential expired and duplicate certs.");
  EXPECT_TRUE(Store(kA));
  EXPECT_EQ(Read(combined_), whole);
}

TEST_F(FullDiskTest, ACleaningThatDoesNotFitLeavesTheFileAsItWas) {
  const std::string uncleaned = kA + kExpiredCertificate + kB;
  Write(combined_, uncleaned);
  bool cleaned = true;
  {
    const FileSizeLimit limit(kA.size());
    cleaned = YOX::CoreUtility::RemoveExpiredAndDuplicateCertsFromFile(combined_);
  }
  EXPECT_FALSE(cleaned);
  EXPECT_EQ(Read(combined_), uncleaned);
  EXPECT_EQ(FilesBesideTheBridge(), 1U);
}

}  // namespace
