#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "yox/base/Base64.h"
#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/policy/PlatformPolicy.h"

namespace yox_test {

// A simulated device on a day on which the certificates of tests/trust are valid, and the files in
// which its MQTT client finds its certificates.
class MqttChainFiles : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(YOX::utility::getBridgeMqttPemFilePath(bridge_));
    ASSERT_TRUE(YOX::utility::getEmbeddedMqttPemFilePath(embedded_));
    combined_ = YOX::utility::getMqttPemFilePath();
    ASSERT_TRUE(FileSystem::createDirectory(device_.files().ProductDirectory(), true));
  }
  static void Write(const std::string& path, std::string_view content) {
    FileSystem::OpenToWrite(YOX::String::UTF8ToUTF16(path), std::ios::out | std::ios::binary)
        << content;
  }
  static std::string ReadBytes(const std::string& path) {
    std::ifstream stream = FileSystem::OpenToRead(YOX::String::UTF8ToUTF16(path));
    if (!stream) return "no file";
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  // The bridge file is written as text: its line breaks are the system's.
  static std::string Read(const std::string& path) {
    using namespace yox::literals;
    return YOX::String::UTF16ToUTF8(
        YOX::String::Replace(YOX::String::UTF8ToUTF16(ReadBytes(path)), "\r\n"_wv, "\n"_wv));
  }
  static PlatformPolicy PolicyOf(std::string_view chain) {
    PlatformPolicy policy(&test_log_);
    policy.set_mqtt_chain_pem64(YOX::String::UTF8ToUTF16(yox::ToBase64(chain)));
    return policy;
  }

  static inline YOX::Log test_log_{"test"};
  yox::platform::SimulatedDevice device_{
      yox::platform::ReadDeviceProfile(R"({"clock": {"now": "2026-03-01T12:00:00"}})")};
  yox::platform::ScopedPlatform installed_{device_};
  std::string bridge_;
  std::string embedded_;
  std::string combined_;
};

}  // namespace yox_test
