#include <gtest/gtest.h>

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/linux/Watches.h"

namespace yoxd {
namespace {

using std::chrono::seconds;

TEST(HeartbeatTest, TheWatchdogHearsOfTheServiceTwiceInItsInterval) {
  SetVariable("WATCHDOG_USEC", "8000000");
  Heartbeat heartbeat([] { return std::string("status"); });
  const Moment now = SteadyClock::now();
  heartbeat.Run(now);
  EXPECT_EQ(heartbeat.Due(), now + seconds(4));
  heartbeat.Run(now + seconds(1));  // too early
  EXPECT_EQ(heartbeat.Due(), now + seconds(4));
  heartbeat.Run(now + seconds(2));  // as another part woke the service
  EXPECT_EQ(heartbeat.Due(), now + seconds(6));
}

}  // namespace
}  // namespace yoxd
