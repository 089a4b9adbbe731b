#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "yox/base/String.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/platform/files/Files.h"
#include "yox/policy/CombinedChain.h"
#include "yox/policy/MqttChainFiles.h"
#include "yox/policy/PlatformPolicy.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/ForwardingFiles.h"
#include "tests/support/SubstitutedPlatform.h"
#include "tests/trust/Material.h"

namespace {

using YOX::String;
using yox::WString;
using namespace yox::literals;
using namespace yox_test;

const std::string kA = kRootACertificate;
const std::string kB = kRootBCertificate;
const std::string kOld = kExpiredCertificate;

class MqttCertChainTest : public MqttChainFiles {};

TEST_F(MqttCertChainTest, EmptyChainWithoutABridgeFileReturnsFalseAndWarns) {
  const yox_test::CapturedLog log;
  EXPECT_FALSE(PlatformPolicy(&test_log_).updateMqttCertChain());
  EXPECT_EQ(log.Text(),
            "test D PlatformPolicy::updateMqttCertChain, mqtt chain pem is empty so delete the "
            "file\n"
            "test W PlatformPolicy::deleteMqttCertChain, mqtt ca pem file may not exist or failed "
            "to delete it\n");
}

TEST_F(MqttCertChainTest, EmptyChainDeletesTheBridgeFileAndLeavesTheCombinedOne) {
  ASSERT_TRUE(PolicyOf(kA).updateMqttCertChain());
  const std::string combined = Read(combined_);
  const yox_test::CapturedLog log;
  EXPECT_TRUE(PlatformPolicy(&test_log_).updateMqttCertChain());
  EXPECT_EQ(Read(bridge_), "no file");
  EXPECT_EQ(Read(combined_), combined);
  EXPECT_EQ(log.Text(),
            "test D PlatformPolicy::updateMqttCertChain, mqtt chain pem is empty so delete the "
            "file\n");
}

TEST_F(MqttCertChainTest, BridgeComesBeforeEmbeddedWithALineBreakAfterEach) {
  Write(embedded_, kB);
  const yox_test::CapturedLog log;
  EXPECT_TRUE(PolicyOf(kA).updateMqttCertChain());
  EXPECT_EQ(Read(bridge_), kA);
  EXPECT_EQ(Read(combined_), kA + "\n" + kB + "\n");
  EXPECT_EQ(log.Text(),
            "test D PlatformPolicy::updateMqttCertChain, mqtt chain pem is not empty so store it "
            "to a file\n");
}

TEST_F(MqttCertChainTest, ChainsAreCopiedByteByByte) {
  const std::string embedded = "# sep\r\n" + kB.substr(0, kB.size() - 1);
  Write(embedded_, embedded);
  EXPECT_TRUE(PolicyOf(kA).updateMqttCertChain());
  EXPECT_EQ(ReadBytes(combined_), ReadBytes(bridge_) + "\n" + embedded + "\n");
}

TEST_F(MqttCertChainTest, PrivateKeyOfTheServersChainStaysOutOfTheCombinedFile) {
  Write(embedded_, kB);
  const std::string key = kServerKey;
  EXPECT_TRUE(PolicyOf(key + "# between\n" + kA + key).updateMqttCertChain());
  EXPECT_EQ(Read(bridge_), key + "# between\n" + kA + key);
  EXPECT_EQ(Read(combined_), "# between\n" + kA + "\n" + kB + "\n");
}

TEST_F(MqttCertChainTest, WhatIsReadSaysWhatWasLeftOut) {
  const auto chain_of = [](const std::string& stored) {
    EXPECT_TRUE(PolicyOf(stored).updateMqttCertChain());
    return yox::policy::ReadCombinedChain();
  };
  EXPECT_TRUE(chain_of(kServerKey + kA).had_private_key);
  const yox::policy::CombinedChain without = chain_of(kA);
  EXPECT_FALSE(without.had_private_key);
  EXPECT_TRUE(without.has_server_chain);
  EXPECT_TRUE(without.is_clean);
  EXPECT_FALSE(chain_of("garbage").has_server_chain);
  Write(embedded_, "-----BEGIN CERTIFICATE-----\nbroken");
  EXPECT_FALSE(chain_of(kA).is_clean);
}

TEST_F(MqttCertChainTest, GarbageInTheBridgeLeavesTheEmbeddedChainAlone) {
  Write(embedded_, kB);
  EXPECT_TRUE(PolicyOf("garbage").updateMqttCertChain());
  EXPECT_EQ(Read(bridge_), "garbage");
  EXPECT_EQ(Read(combined_), kB + "\n");
}

TEST_F(MqttCertChainTest, ChainThatIsNotBase64LeavesTheEmbeddedChainAlone) {
  Write(embedded_, kB);
  PlatformPolicy policy(&test_log_);
  policy.set_mqtt_chain_pem64("not base64!"_w);
  EXPECT_TRUE(policy.updateMqttCertChain());
  EXPECT_EQ(Read(bridge_), "");
  EXPECT_EQ(Read(combined_), kB + "\n");
}

TEST_F(MqttCertChainTest, WithoutUsableSourcesTheCombinedFileIsEmptyAndCleaned) {
  Write(combined_, "former content");
  const yox_test::CapturedLog log;
  EXPECT_TRUE(PolicyOf("garbage").updateMqttCertChain());
  EXPECT_EQ(Read(combined_), "");
  EXPECT_EQ(log.Lines().size(), 1U);  // the cleaning succeeded
}

TEST_F(MqttCertChainTest, ExpiredAndRepeatedCertificatesGo) {
  Write(embedded_, kA + kOld);
  EXPECT_TRUE(PolicyOf(kOld + kA + kB).updateMqttCertChain());
  EXPECT_EQ(Read(combined_), kA + kB + "\n\n");
  EXPECT_EQ(Read(bridge_), kOld + kA + kB);
}

TEST_F(MqttCertChainTest, FailedCleaningIsLoggedAndDoesNotFailTheStore) {
  Write(embedded_, kB + "-----BEGIN CERTIFICATE-----\nbroken");
  const yox_test::CapturedLog log;
  EXPECT_TRUE(PolicyOf(kOld + kA).updateMqttCertChain());
  EXPECT_EQ(Read(combined_), kOld + kA + "\n" + kB + "-----BEGIN CERTIFICATE-----\nbroken\n");
  EXPECT_EQ(log.Text(),
            "test D PlatformPolicy::updateMqttCertChain, mqtt chain pem is not empty so store it "
            "to a file\n"
            "test E PlatformPolicy::AccumulateMqttCertChain, Issue occured while trying to remove "
            "potential expired and duplicate certs.\n");
}

TEST_F(MqttCertChainTest, TwoStoresInARowGiveTheSameCombinedFile) {
  Write(embedded_, kB);
  EXPECT_TRUE(PolicyOf(kA).updateMqttCertChain());
  const std::string once = Read(combined_);
  EXPECT_TRUE(PolicyOf(kA).updateMqttCertChain());
  EXPECT_EQ(Read(combined_), once);
}

// Records what is on the disk each time that access is granted.
class WatchedFiles final : public yox_test::ForwardingFiles {
 public:
  struct Call {
    std::filesystem::path file;
    std::vector<yox::AccessGrant> grants;
    bool replace;
    std::uintmax_t size;  // of the file
    bool bridge_exists;
  };
  WatchedFiles(Files& base, std::filesystem::path bridge)
      : ForwardingFiles(base), bridge_(std::move(bridge)) {}
  bool Grant(const std::filesystem::path& file, std::span<const yox::AccessGrant> grants,
             bool replace) override {
    calls.push_back({file,
                     {grants.begin(), grants.end()},
                     replace,
                     std::filesystem::file_size(file),
                     std::filesystem::exists(bridge_)});
    return ForwardingFiles::Grant(file, grants, replace);
  }
  std::vector<Call> calls;

 private:
  const std::filesystem::path bridge_;
};

TEST_F(MqttCertChainTest, AccessIsGrantedInOrderWhileTheFileIsEmptyAndNotInItsPlace) {
  const std::filesystem::path bridge = FileSystem::Locate(String::UTF8ToUTF16(bridge_));
  yox_test::SubstitutedPlatform platform(device_);
  WatchedFiles files(device_.files(), bridge);
  platform.Set(files);
  const yox::platform::ScopedPlatform installed(platform);
  EXPECT_TRUE(PolicyOf(kA).updateMqttCertChain());
  ASSERT_EQ(files.calls.size(), 2U);
  using Grants = std::vector<yox::AccessGrant>;
  EXPECT_EQ(files.calls[0].grants, (Grants{{"S-1-5-32-544"_w, true, true, true, true, true},
                                           {"S-1-5-18"_w, true, true, true, true, true}}));
  EXPECT_TRUE(files.calls[0].replace);
  EXPECT_EQ(files.calls[1].grants, (Grants{{"S-1-5-32-544"_w, false, false, true, true, false},
                                           {"S-1-5-18"_w, false, false, true, true, false}}));
  EXPECT_FALSE(files.calls[1].replace);
  for (const auto& call : files.calls) {
    EXPECT_EQ(call.file.parent_path(), bridge.parent_path());
    EXPECT_EQ(call.file.filename(), bridge.filename().concat(".new"));
    EXPECT_EQ(call.size, 0U);
    EXPECT_FALSE(call.bridge_exists);
  }
  EXPECT_EQ(Read(bridge_), kA);
}

TEST_F(MqttCertChainTest, WithoutABridgePathNothingIsTouched) {
  ASSERT_TRUE(PolicyOf(kA).updateMqttCertChain());
  const std::string combined = Read(combined_);
  device_.files().SetStateFolder(false);
  const yox_test::CapturedLog log;
  EXPECT_FALSE(PolicyOf(kB).updateMqttCertChain());
  EXPECT_FALSE(PlatformPolicy(&test_log_).updateMqttCertChain());
  device_.files().SetStateFolder(true);
  EXPECT_EQ(Read(bridge_), kA);
  EXPECT_EQ(Read(combined_), combined);
  EXPECT_EQ(log.Text(),
            "test D PlatformPolicy::updateMqttCertChain, mqtt chain pem is not empty so store it "
            "to a file\n"
            "test D PlatformPolicy::storeMqttCertChain, not able to get BridgeMqttPem file path \n"
            "test D PlatformPolicy::updateMqttCertChain, mqtt chain pem is empty so delete the "
            "file\n"
            "test D PlatformPolicy::deleteMqttCertChain, not able to get mqtt ca pem file path\n");
}

TEST_F(MqttCertChainTest, BridgeFileThatCannotBeWrittenIsLoggedAndReturnsFalse) {
  ASSERT_TRUE(FileSystem::createDirectory(String::UTF8ToUTF16(bridge_), false));
  Write(combined_, "former content");
  const yox_test::CapturedLog log;
  EXPECT_FALSE(PolicyOf(kA).updateMqttCertChain());
  EXPECT_EQ(Read(combined_), "former content");
  ASSERT_EQ(log.Lines().size(), 2U);
  EXPECT_EQ(log.Lines().back().level, YOX::LogLevel::Error);
  EXPECT_TRUE(
      log.Lines().back().text.starts_with("PlatformPolicy::storeMqttCertChain, Exception: "));
  EXPECT_NE(log.Lines().back().text.find("mqtt-bridge.pem"), std::string::npos);
}

TEST_F(MqttCertChainTest, CombinedFileThatCannotBeWrittenDoesNotFailTheStore) {
  const WString combined = String::UTF8ToUTF16(combined_);
  ASSERT_TRUE(FileSystem::createDirectory(combined, false));
  ASSERT_TRUE(FileSystem::createDirectory(combined + "/inside"_w, false));
  const yox_test::CapturedLog log;
  EXPECT_TRUE(PolicyOf(kA).updateMqttCertChain());
  EXPECT_EQ(Read(bridge_), kA);
  EXPECT_EQ(log.Lines().back().text,
            "PlatformPolicy::AccumulateMqttCertChain, Issue occured while trying to remove "
            "potential expired and duplicate certs.");
}

// While it lives, the log throws at a line with the word; other lines are kept.
class ThrowingLog {
 public:
  explicit ThrowingLog(std::string_view word) {
    YOX::Log::SetSink([this, word](std::string_view, YOX::LogLevel, std::string_view line) {
      if (line.find(word) != std::string_view::npos) throw std::runtime_error("boom");
      lines += std::string(line) + "\n";
    });
  }
  ~ThrowingLog() { YOX::Log::SetSink({}); }
  ThrowingLog(const ThrowingLog&) = delete;
  ThrowingLog& operator=(const ThrowingLog&) = delete;

  std::string lines;
};

TEST_F(MqttCertChainTest, AnExceptionIsLoggedByTheStepThatItEnds) {
  {
    const ThrowingLog log("so delete the file");
    EXPECT_FALSE(PlatformPolicy(&test_log_).updateMqttCertChain());
    EXPECT_EQ(log.lines, "PlatformPolicy::updateMqttCertChain, Exception: boom\n");
  }
  {
    const ThrowingLog log("may not exist");
    EXPECT_FALSE(PlatformPolicy(&test_log_).updateMqttCertChain());
    EXPECT_EQ(log.lines,
              "PlatformPolicy::updateMqttCertChain, mqtt chain pem is empty so delete the file\n"
              "PlatformPolicy::deleteMqttCertChain, Exception: boom\n");
  }
  Write(embedded_, "-----BEGIN CERTIFICATE-----\nbroken");
  const ThrowingLog log("Issue occured");
  EXPECT_TRUE(PolicyOf(kA).updateMqttCertChain()) << "the chain is stored by then";
  EXPECT_EQ(Read(bridge_), kA);
  EXPECT_EQ(log.lines,
            "PlatformPolicy::updateMqttCertChain, mqtt chain pem is not empty so store it to a "
            "file\n"
            "PlatformPolicy::storeMqttCertChain, Exception: boom\n");
}

TEST_F(MqttCertChainTest, WithoutALogAnExceptionEndsTheStepAllTheSame) {
  ASSERT_TRUE(FileSystem::createDirectory(String::UTF8ToUTF16(bridge_), false));
  PlatformPolicy policy;
  policy.set_mqtt_chain_pem64("garbage"_w);
  EXPECT_FALSE(policy.updateMqttCertChain());
}

TEST_F(MqttCertChainTest, WithoutALogNothingIsLogged) {
  const yox_test::CapturedLog log;
  PlatformPolicy policy;
  EXPECT_FALSE(policy.updateMqttCertChain());
  policy.set_mqtt_chain_pem64("garbage"_w);
  EXPECT_TRUE(policy.updateMqttCertChain());
  EXPECT_EQ(log.Text(), "");
}

}  // namespace
