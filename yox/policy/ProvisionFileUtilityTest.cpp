#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>

#include "yox/base/String.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/PathText.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/policy/ProvisionFileUtility.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/ForwardingFiles.h"
#include "tests/support/SchemaPaths.h"
#include "tests/support/SubstitutedPlatform.h"

namespace {

using yox::WString;
using namespace yox::literals;

class TestUtility : public ProvisionFileUtility {
 public:
  TestUtility() = default;  // protected in the base
};

const WString kRootFile = "C:\\yox-provision.json"_w;

class ProvisionFileUtilityTest : public testing::Test {
 protected:
  void SetUp() override {
    data_folder_ = FileSystem::GetCommonApplicationDataPath() +
                   yox::platform::NativePath("\\tervan\\YOX\\"_wv);
    data_file_ = data_folder_ + "yox-provision.json"_w;
    ASSERT_TRUE(FileSystem::createDirectory(data_folder_, true));
    std::filesystem::create_directories(FileSystem::Locate(kRootFile).parent_path());
    // Some tests have no file in either folder; the one in the working directory is read then.
    std::filesystem::current_path(device_.files().folder());
  }
  static void Write(const WString& path, std::string_view content) {
    FileSystem::OpenToWrite(path, std::ios::out | std::ios::binary) << content;
  }
  WString TokenOf(std::string_view json) {
    Write(data_file_, json);
    utility_.ExtractProvisionFileInfo();
    utility_.PopulateProvisionInfo();
    return utility_.GetProvisionInfo().provisionToken;
  }

  yox::platform::SimulatedDevice device_;
  yox::platform::ScopedPlatform installed_{device_};
  WString data_folder_;
  WString data_file_;
  TestUtility utility_;
};

TEST_F(ProvisionFileUtilityTest, RootDirectoryWinsAndTheOtherFileIsDeleted) {
  Write(kRootFile, "{}");
  Write(data_file_, "{}");
  EXPECT_EQ(utility_.GetProvisionPath(), "C:\\"_w);
  EXPECT_TRUE(FileSystem::fileExists(kRootFile));
  EXPECT_FALSE(FileSystem::fileExists(data_file_));
}

TEST_F(ProvisionFileUtilityTest, FileInTheDataDirectoryAloneStays) {
  Write(data_file_, "{}");
  EXPECT_EQ(utility_.GetProvisionPath(), data_folder_);
  EXPECT_TRUE(FileSystem::fileExists(data_file_));
}

TEST_F(ProvisionFileUtilityTest, WithoutAFileThePathIsEmpty) {
  EXPECT_EQ(utility_.GetProvisionPath(), ""_w);
}

TEST_F(ProvisionFileUtilityTest, WithoutAFileTheOpenFailsAndIsRecorded) {
  const yox_test::CapturedLog log;
  utility_.ExtractProvisionFileInfo();
  EXPECT_EQ(log.Text(),
            "CriticalEvents E critical event 1001, 86\n"
            "yox E ProvisionFileUtility::ExtractProvisionJsonContent: Provision file Open failed : "
            "2002\n");
  EXPECT_TRUE(utility_.GetProvisionContent().isNull());
}

TEST_F(ProvisionFileUtilityTest, WithoutAFileTheWorkingDirectorysIsRead) {
  Write("yox-provision.json"_w, R"({"provision_token": "local"})");
  EXPECT_EQ(utility_.GetProvisionPath(), ""_w);
  utility_.ExtractProvisionFileInfo();
  EXPECT_EQ(utility_.GetProvisionContent()["provision_token"].asString(), "local");
}

TEST_F(ProvisionFileUtilityTest, LargestFileIsRead) {
  std::string content = R"({"provision_token": "token"})";
  content.resize(1'048'576, ' ');
  Write(data_file_, content);
  const yox_test::CapturedLog log;
  utility_.ExtractProvisionFileInfo();
  EXPECT_EQ(utility_.GetProvisionContent()["provision_token"].asString(), "token");
  EXPECT_EQ(log.Text(),
            "yox D ProvisionFileUtility::ExtractProvisionContent: Provision file extraction "
            "success\n");
}

TEST_F(ProvisionFileUtilityTest, FileOneByteLongerIsRefused) {
  std::string content = R"({"provision_token": "token"})";
  content.resize(1'048'577, ' ');
  Write(data_file_, content);
  const yox_test::CapturedLog log;
  utility_.ExtractProvisionFileInfo();
  EXPECT_TRUE(utility_.GetProvisionContent().isNull());
  EXPECT_EQ(log.Text(),
            "CriticalEvents E critical event 1001, 86\n"
            "yox D ProvisionFileUtility::IsFileSizeValid: yox-provision.json bigger than 1MB\n"
            "yox E ProvisionFileUtility::ExtractProvisionContent: Provision file size invalid "
            "1048577\n");
}

// Locates another file after the first call, as if the file had grown in between.
class GrowingFiles final : public yox_test::ForwardingFiles {
 public:
  GrowingFiles(Files& base, std::filesystem::path grown)
      : ForwardingFiles(base), grown_(std::move(grown)) {}
  std::filesystem::path Locate(yox::WStringView path) const override {
    return std::exchange(asked_, true) ? grown_ : ForwardingFiles::Locate(path);
  }

 private:
  const std::filesystem::path grown_;
  mutable bool asked_ = false;
};

TEST_F(ProvisionFileUtilityTest, TheLimitAlsoBoundsWhatIsRead) {
  Write(data_file_, "{}");
  std::string content = R"({"provision_token": "token"})";
  content.resize(1'048'577, ' ');
  const WString grown = data_folder_ + "grown.json"_w;
  Write(grown, content);
  yox_test::SubstitutedPlatform platform(device_);
  GrowingFiles files(device_.files(), FileSystem::Locate(grown));
  platform.Set(files);
  const yox::platform::ScopedPlatform installed(platform);
  const yox_test::CapturedLog log;
  utility_.ExtractProvisionContent(data_file_);
  EXPECT_TRUE(utility_.GetProvisionContent().isNull());
  EXPECT_EQ(log.Text(),
            "CriticalEvents E critical event 1001, 86\n"
            "yox D ProvisionFileUtility::IsFileSizeValid: yox-provision.json bigger than 1MB\n"
            "yox E ProvisionFileUtility::ExtractProvisionContent: Provision file size invalid "
            "1048577\n");
}

TEST_F(ProvisionFileUtilityTest, TheBytesOfAFileAreReadAsTheFileIs) {
  const std::string bytes = "{\"provision_token\": \"\xC3\xBC\xFF\"}";
  EXPECT_EQ(TokenOf(bytes), "Ã¼ÿ"_w);
  TestUtility of_bytes;
  of_bytes.ExtractProvisionContentOf(bytes);
  EXPECT_EQ(of_bytes.GetProvisionContent(), utility_.GetProvisionContent());
  const yox_test::CapturedLog log;
  of_bytes.ExtractProvisionContentOf(std::string(1'048'577, ' '));
  EXPECT_EQ(of_bytes.GetProvisionContent(), utility_.GetProvisionContent());
  EXPECT_NE(log.Text().find("Provision file size invalid 1048577"), std::string::npos);
}

TEST_F(ProvisionFileUtilityTest, TheReasonOfARefusalShowsNoPartOfTheToken) {
  TokenOf(R"({"provision_token": "secret.secret.secret"})");
  const std::string reason = utility_.WhyTokenIsRefused();
  EXPECT_NE(reason, "");
  EXPECT_EQ(reason.find("secret"), std::string::npos) << reason;
}

TEST_F(ProvisionFileUtilityTest, MalformedFileKeepsTheFormerContent) {
  EXPECT_EQ(TokenOf(R"({"provision_token": "first", "other": 7})"), "first"_w);
  const yox_test::CapturedLog log;
  EXPECT_EQ(TokenOf(R"({"provision_token": "second")"), "first"_w);
  EXPECT_EQ(TokenOf(std::string(100000, '[')), "first"_w);
  EXPECT_EQ(utility_.GetProvisionContent()["other"].asInt(), 7);
  const std::string line =
      "yox D ProvisionFileUtility::ExtractProvisionContent: Provision file extraction failed\n";
  EXPECT_EQ(log.Text(), line + line);
}

TEST_F(ProvisionFileUtilityTest, ContentIsNullBeforeAnyRead) {
  EXPECT_TRUE(utility_.GetProvisionContent().isNull());
  utility_.PopulateProvisionInfo();
  EXPECT_TRUE(utility_.GetProvisionContent().isNull());
  EXPECT_FALSE(utility_.GetProvisionInfo().isTokenValid);
  EXPECT_EQ(utility_.GetProvisionInfo().provisionToken, ""_w);
}

TEST_F(ProvisionFileUtilityTest, AbsentTokenIsEmptyAndLookingAddsNoMember) {
  EXPECT_EQ(TokenOf("{}"), ""_w);
  EXPECT_EQ(utility_.GetProvisionContent().size(), 0U);
}

TEST_F(ProvisionFileUtilityTest, InvalidTokenIsStoredAndThePolicyIsNot) {
  DeviceProvisionInfo former;
  former.configPolicy = "former"_w;
  former.isTokenValid = true;
  utility_.SetProvisionInfo(former);
  EXPECT_EQ(TokenOf(R"({"provision_token": "a.b.c", "config_policy": "policy"})"), "a.b.c"_w);
  EXPECT_FALSE(utility_.GetProvisionInfo().isTokenValid);
  EXPECT_EQ(utility_.GetProvisionInfo().configPolicy, "former"_w);
}

TEST_F(ProvisionFileUtilityTest, EachByteOfTheFileIsACodeUnit) {
  EXPECT_EQ(TokenOf("{\"provision_token\": \"\xC3\xBC\xFF\"}"), "Ã¼ÿ"_w);
}

TEST_F(ProvisionFileUtilityTest, ByteOrderMarkMakesTheFileMalformed) {
  EXPECT_EQ(TokenOf("\xEF\xBB\xBF{\"provision_token\": \"token\"}"), ""_w);
}

TEST_F(ProvisionFileUtilityTest, ContentOfAnotherShapeHasNoToken) {
  for (const char* const json : {"[1]", "7", "\"text\"", R"({"provision_token": {"a": 1}})"}) {
    EXPECT_EQ(TokenOf(json), ""_w) << json;
  }
  EXPECT_EQ(TokenOf(R"({"provision_token": 7})"), "7"_w);
}

TEST_F(ProvisionFileUtilityTest, BaseUriIsTakenForManualRegistrationAlone) {
  const yox_test::CapturedLog log;
  utility_.SetBaseUri("https://example.com"_w, true);
  EXPECT_TRUE(utility_.GetProvisionInfo().isManualRegistration);
  EXPECT_EQ(utility_.GetProvisionInfo().baseUri, "https://example.com"_w);
  utility_.SetBaseUri("https://other.example.com"_w, false);
  EXPECT_FALSE(utility_.GetProvisionInfo().isManualRegistration);
  EXPECT_EQ(utility_.GetProvisionInfo().baseUri, "https://example.com"_w);
  EXPECT_EQ(log.Text(),
            "yox D ProvisionFileUtility::SetBaseUri Base Uri for manual registration: "
            "https://example.com\n");
}

// That config_policy is read takes a valid token to show: see OwnTrustTest.
TEST_F(ProvisionFileUtilityTest, TheSchemaHasTheKeysThatAreRead) {
  EXPECT_EQ(yox_test::SchemaPaths("schemas/provision-file.schema.json"),
            (std::vector<std::string>{"config_policy", "provision_token"}));
  EXPECT_EQ(TokenOf(R"({"provision_token": "a.b.c"})"), "a.b.c"_w);
}

TEST_F(ProvisionFileUtilityTest, TokenIsNeverLogged) {
  const yox_test::CapturedLog log;
  TokenOf(R"({"provision_token": "SECRET.SECRET.SECRET", "config_policy": "SECRET"})");
  EXPECT_EQ(log.Text().find("SECRET"), std::string::npos);
  TokenOf(R"({"provision_token": "SECRET.SECRET.SECRET")");
  EXPECT_EQ(log.Text().find("SECRET"), std::string::npos);
}

TEST_F(ProvisionFileUtilityTest, RecordIsReplacedWhole) {
  const DeviceProvisionInfo fresh;
  EXPECT_FALSE(fresh.isTokenValid);
  EXPECT_FALSE(fresh.isManualRegistration);
  utility_.SetProvisionInfo({"uri"_w, "token"_w, "policy"_w, true, true});
  const ProvisionFileUtility& utility = utility_;
  const DeviceProvisionInfo info = utility.GetProvisionInfo();
  EXPECT_TRUE(utility.GetProvisionContent().isNull());
  EXPECT_EQ(info.baseUri, "uri"_w);
  EXPECT_EQ(info.provisionToken, "token"_w);
  EXPECT_EQ(info.configPolicy, "policy"_w);
  EXPECT_TRUE(info.isTokenValid && info.isManualRegistration);
}

TEST_F(ProvisionFileUtilityTest, InstanceIsAlwaysTheSameAndKnowsTheStateFolder) {
  ProvisionFileUtility* const instance = ProvisionFileUtility::GetInstance();
  EXPECT_EQ(ProvisionFileUtility::GetInstance(), instance);
  WString path;
  EXPECT_TRUE(instance->GetYoxAppDataRootPath(path));
  EXPECT_EQ(path, device_.files().ApplicationDataRoot());
}

}  // namespace
