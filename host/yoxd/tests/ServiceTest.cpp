#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "yox/notifications/SendTelemetryCommandHandler.h"

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/Service.h"
#include "host/yoxd/Text.h"
#include "host/yoxd/tests/BusTraffic.h"
#include "tests/support/Checkout.h"
#include "tests/support/Latch.h"
#include "tests/support/TemporaryFolder.h"

namespace yoxd {
namespace {

// The service on a simulated device, without a policy.
class ServiceTest : public testing::Test {
 protected:
  // Leaves a message of the channel for the service, as a former process received it.
  void Receive(const std::string& payload) {
    Json::Value line;
    line["number"] = 1;
    line["packet"] = 0;
    line["topic"] = "yox/devices/device-1/in/channel";
    line["payload"] = payload;
    std::filesystem::create_directories(ChosenPlatform::StateRoot() / "yoxd");
    std::ofstream(ChosenPlatform::StateRoot() / "yoxd" / "inbox.jsonl") << JsonLine(line) << "\n";
  }

  yox_test::TemporaryFolder root_;
  ChosenPlatform platform_{
      {.profile = PathText(yox_test::Checkout() / "examples/devices/kestrel-mini.json"),
       .state_dir = PathText(root_.path())}};
  Configuration configuration_ = [] {
    Configuration configuration;
    configuration.device_id = "device-1";
    return configuration;
  }();
};

TEST_F(ServiceTest, WhoWaitsForACollectionGoesOnAfterACommandForOne) {
  Receive(R"({"yox-message": {"action": {"cmd": "sendTelemetry", "cmd_type": "command",
              "cmd_param": {"dataSet": ["all"], "reCollect": "true"}}}})");
  Service service(configuration_, platform_);
  yox::platform::Event collected;
  std::thread waiter([&] {
    YOX::SendTelemetryCommandHandler::WaitForCollectionToComplete();
    collected.Set();
  });
  const std::vector<Part*> parts = service.Parts();
  const Moment end = SteadyClock::now() + std::chrono::seconds(30);
  while (!collected.IsSet() && SteadyClock::now() < end) TakeTurns(parts);
  EXPECT_TRUE(collected.IsSet());
  YOX::SendTelemetryCommandHandler::Cancel();
  waiter.join();
}

TEST_F(ServiceTest, WhatTheBusSendsTooFastIsCountedAsDropped) {
  Service service(configuration_, platform_);
  PublishOnBus(4'096 + 500);  // while the service has no turn
  EXPECT_GT(service.Status()["queue"]["dropped"].asInt(), 400);
}

}  // namespace
}  // namespace yoxd
