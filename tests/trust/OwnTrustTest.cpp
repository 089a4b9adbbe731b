#include <gtest/gtest.h>

#include <string>

#include "yox/clientbase/FileSystem.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/files/PathText.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/policy/BuiltInTrust.h"
#include "yox/policy/ProvisionFileUtility.h"

#include "tests/trust/Material.h"

namespace {

using namespace yox::literals;

class TestUtility : public ProvisionFileUtility {
 public:
  TestUtility() = default;  // protected in the base
};

class OwnTrustTest : public testing::Test {
 protected:
  static std::string Token(std::string_view name) {
    for (const auto& token : yox_test::kTokens) {
      if (name == token.name) return token.text;
    }
    return {};
  }
  void WriteFile(const std::string& token, const std::string& policy) {
    const yox::WString folder = FileSystem::GetCommonApplicationDataPath() +
                                yox::platform::NativePath("\\tervan\\YOX\\"_wv);
    FileSystem::createDirectory(folder, true);
    FileSystem::OpenToWrite(folder + "yox-provision.json"_w)
        << R"({"provision_token": ")" << token << R"(", "config_policy": ")" << policy << "\"}";
  }

  yox::platform::SimulatedDevice device_{
      yox::platform::ReadDeviceProfile(R"({"clock": {"now": "2026-03-01T12:00:00"}})")};
  yox::platform::ScopedPlatform installed_{device_};
  TestUtility utility_;
};

TEST_F(OwnTrustTest, KeyIsTheOneOfThisBuild) {
  EXPECT_EQ(yox::policy::TrustedRoots()[1].thumbprint.back(), '1');
  std::string key;
  for (const auto unit : yox::policy::PublicKey()) key += static_cast<char>(unit);
  EXPECT_EQ(key, yox_test::kEs256PublicKey);
}

TEST_F(OwnTrustTest, ValidTokenBringsThePolicy) {
  WriteFile(Token("Valid"), "policy");
  utility_.ExtractProvisionFileInfo();
  utility_.PopulateProvisionInfo();
  const DeviceProvisionInfo info = utility_.GetProvisionInfo();
  EXPECT_TRUE(info.isTokenValid);
  EXPECT_EQ(info.configPolicy, "policy"_w);
  EXPECT_EQ(yox::WString(info.provisionToken).size(), Token("Valid").size());
}

TEST_F(OwnTrustTest, TokenThatExpiresLaterKeepsTheFormerPolicy) {
  WriteFile(Token("Valid"), "policy");
  utility_.ExtractProvisionFileInfo();
  utility_.PopulateProvisionInfo();
  WriteFile(Token("Valid"), "another policy");
  utility_.ExtractProvisionFileInfo();
  device_.clock().Advance(2 * 3600);
  utility_.PopulateProvisionInfo();
  EXPECT_FALSE(utility_.GetProvisionInfo().isTokenValid);
  EXPECT_EQ(utility_.GetProvisionInfo().configPolicy, "policy"_w);
}

TEST_F(OwnTrustTest, TheReasonOfARefusalChangesWithTheClock) {
  WriteFile(Token("Valid"), "policy");
  utility_.ExtractProvisionFileInfo();
  EXPECT_EQ(utility_.WhyTokenIsRefused(), "");
  device_.clock().Advance(3600);
  EXPECT_EQ(utility_.WhyTokenIsRefused(), "it has expired");
}

}  // namespace
