#include <gtest/gtest.h>

#include <string>

#include "yox/policy/MqttChainFiles.h"

#include "tests/trust/Material.h"

namespace {

class MqttChainWindowsTest : public yox_test::MqttChainFiles {};

TEST_F(MqttChainWindowsTest, TheBridgeFileIsWrittenAsText) {
  const std::string chain = yox_test::kRootACertificate;
  ASSERT_TRUE(PolicyOf(chain).updateMqttCertChain());
  std::string expected;
  for (const char letter : chain) expected += letter == '\n' ? "\r\n" : std::string(1, letter);
  EXPECT_EQ(ReadBytes(bridge_), expected);
}

}  // namespace
