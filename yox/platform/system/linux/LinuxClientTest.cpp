#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "yox/platform/files/linux/LinuxFiles.h"
#include "yox/platform/simulated/SimulatedRegistry.h"
#include "yox/platform/system/linux/LinuxClient.h"

#include "tests/support/TemporaryFolder.h"

namespace {

using namespace yox::literals;
using yox::WString;

const WString kService = "/lib\\drivers\\tervan\\yox\\service\\yoxclientservice.exe"_w;

class LinuxClientTest : public testing::Test {
 protected:
  void Install(std::string_view version_file) {
    const auto folder = files_.Locate(files_.ProductDirectory());
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "yoxd.version") << version_file;
  }

  yox_test::TemporaryFolder root_;
  yox::platform::LinuxFiles files_{root_.path()};
  yox::platform::SimulatedRegistry registry_;
  yox::platform::LinuxClient client_{files_, registry_};
};

TEST_F(LinuxClientTest, AnInstalledServiceHasTheVersionOfItsPackage) {
  Install("4.2.10.0\nbuilt on a Sunday\n");
  EXPECT_EQ(client_.FileVersion(kService), "4.2.10.0"_w);
  Install("5.0.0.1");
  EXPECT_EQ(client_.FileVersion(kService), "5.0.0.1"_w);
}

TEST_F(LinuxClientTest, WithoutOneTheLibrarysOwnVersionCounts) {
  const WString library = client_.FileVersion(kService);
  EXPECT_GE(std::ranges::count(library, yox::WChar{'.'}), 1);
  EXPECT_EQ(library.find_first_not_of("0123456789."_wv), WString::npos);
  Install("");
  EXPECT_EQ(client_.FileVersion(kService), library);
}

TEST_F(LinuxClientTest, OtherProgramsHaveNone) {
  Install("4.2.10.0\n");
  EXPECT_EQ(client_.FileVersion("/bin\\sh"_w), ""_w);
  EXPECT_EQ(client_.FileVersion("yoxclientservice.exe"_w), ""_w);
  EXPECT_EQ(client_.FileVersion(""_w), ""_w);
}

TEST_F(LinuxClientTest, AnonymousDataIsCollectedForTheNumberOneAlone) {
  EXPECT_FALSE(client_.AnonymousMetrics());
  const yox::platform::RegistryKey key{HKEY_LOCAL_MACHINE, "SOFTWARE\\Tervan\\YOX"_w, {}, {}};
  registry_.CreateKey(key);
  for (const std::uint32_t value : {2U, 1U, 0U}) {
    registry_.SetValue(key, "AnonymousMetrics"_w, yox::platform::RegistryValue::Dword(value));
    EXPECT_EQ(client_.AnonymousMetrics(), value == 1);
  }
}

}  // namespace
