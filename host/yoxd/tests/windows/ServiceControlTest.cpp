#include <gtest/gtest.h>

#include <array>
#include <string>

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/windows/ServiceControl.h"

namespace yoxd {
namespace {

// What the service does after the manager has sent a control: one turn of its loop.
class ServiceControlTest : public testing::Test {
 protected:
  ServiceControlTest() {
    parts_ = supervision_.Connect({.stop = [this] { calls_ += "stop "; },
                                   .reload = [this] { calls_ += "reload "; },
                                   .user_changed = [this] { calls_ += "user "; },
                                   .status = {}});
    parts_.push_back(&limit_);
  }

  std::string After(DWORD control, DWORD kind = 0) {
    calls_.clear();
    result_ = ServiceControl::Get().Handle(control, kind);
    TakeTurns(parts_);
    return calls_;
  }

  // So that a turn in which nothing is to be done ends.
  class Limit final : public Part {
    std::optional<Moment> Due() const override { return SteadyClock::now(); }
  };

  Supervision supervision_;
  Limit limit_;
  std::vector<Part*> parts_;
  std::string calls_;
  DWORD result_ = 0;
};

TEST_F(ServiceControlTest, AUserWhoLogsOnOrOffIsReported) {
  EXPECT_EQ(After(SERVICE_CONTROL_SESSIONCHANGE, WTS_SESSION_LOGON), "user ");
  EXPECT_EQ(After(SERVICE_CONTROL_SESSIONCHANGE, WTS_SESSION_LOGOFF), "user ");
  EXPECT_EQ(After(SERVICE_CONTROL_SESSIONCHANGE, WTS_CONSOLE_CONNECT), "user ");
  EXPECT_EQ(After(SERVICE_CONTROL_SESSIONCHANGE, WTS_SESSION_LOCK), "");
  EXPECT_EQ(After(SERVICE_CONTROL_SESSIONCHANGE, WTS_SESSION_UNLOCK), "");
}

TEST_F(ServiceControlTest, EachControlCallsItsHandlerOnce) {
  EXPECT_EQ(After(SERVICE_CONTROL_PARAMCHANGE), "reload ");
  EXPECT_EQ(After(SERVICE_CONTROL_TIMECHANGE), "");
  EXPECT_FALSE(ServiceControl::Get().clock_set.IsSet());
  EXPECT_EQ(After(SERVICE_CONTROL_INTERROGATE), "");
  EXPECT_EQ(result_, DWORD{NO_ERROR});
  EXPECT_EQ(After(SERVICE_CONTROL_STOP), "stop ");
  EXPECT_EQ(After(SERVICE_CONTROL_SHUTDOWN), "stop ");
}

TEST_F(ServiceControlTest, AnotherControlIsNotImplemented) {
  EXPECT_EQ(After(SERVICE_CONTROL_PAUSE), "");
  EXPECT_EQ(result_, DWORD{ERROR_CALL_NOT_IMPLEMENTED});
}

}  // namespace
}  // namespace yoxd
