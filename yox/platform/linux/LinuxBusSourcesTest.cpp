#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "yox/base/String.h"
#include "yox/platform/system/linux/LinuxJoinState.h"
#include "yox/platform/system/linux/LinuxServices.h"
#include "yox/platform/users/linux/LinuxUsers.h"

#include "tests/support/MockedBus.h"
#include "tests/support/Rows.h"
#include "tests/support/SystemRoot.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace yox::literals;
using namespace yox::platform;
using yox_test::MockedBus;

struct LogindRow {
  const char* name;
  const char* service;
  const char* sid;
};
class LinuxUsersTest : public testing::TestWithParam<LogindRow> {};

TEST_P(LinuxUsersTest, LogindsSessionsSayWhoIsLoggedOn) {
  const MockedBus mocked({GetParam().service});
  YOX_NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  EXPECT_EQ(YOX::String::UTF16ToUTF8(LinuxUsers(bus).LoggedInUserSid()), GetParam().sid);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LinuxUsersTest,
    testing::Values(LogindRow{"TheActiveUserOfASeat", "logind", "S-1-22-1-1003"},
                    LogindRow{"TheFirstOfThoseOverTheNetwork", "remote", "S-1-22-1-1004"},
                    LogindRow{"OneWhoseScreenShowsTheGreeter", "switched_away", "S-1-22-1-1002"}),
    yox_test::RowName());

TEST(LinuxServicesTest, OnlyAnActiveUnitRuns) {
  const MockedBus mocked({"systemd"});
  YOX_NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  LinuxServices services(bus);
  EXPECT_TRUE(services.IsRunning("running"_wv));
  EXPECT_FALSE(services.IsRunning("stopped"_wv));
  EXPECT_FALSE(services.IsRunning("absent"_wv));
}

TEST(LinuxJoinStateTest, AConfiguredRealmIsADomain) {
  const MockedBus mocked({"joined"});
  YOX_NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  const yox_test::SystemRoot root;
  const JoinAnswer answer = LinuxJoinState(bus, root.path()).Domain();
  EXPECT_EQ(answer.outcome, JoinAnswer::Outcome::kAsked);
  EXPECT_TRUE(answer.joined);
}

TEST(LinuxJoinStateTest, ADiscoveredRealmIsNoDomain) {
  const MockedBus mocked({"discovered"});
  YOX_NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  const yox_test::SystemRoot root;
  const JoinAnswer answer = LinuxJoinState(bus, root.path()).Domain();
  EXPECT_EQ(answer.outcome, JoinAnswer::Outcome::kAsked);
  EXPECT_FALSE(answer.joined);
}

TEST(LinuxJoinStateTest, WithoutRealmdTheConfigurationSaysWhoIsJoined) {
  yox_test::UseNoBus();
  SystemBus bus;
  const std::pair<const char*, const char*> files[] = {
      {"etc/sssd/sssd.conf", "[sssd]\ndomains = a\n[domain/a]\nid_provider = ad\n"},
      {"etc/sssd/conf.d/10-a.conf", "[sssd]\ndomains = a\n[domain/a]\nid_provider = ipa\n"},
      {"etc/samba/smb.conf", "[global]\nsecurity = ads\n"}};
  for (const auto& [file, text] : files) {
    yox_test::SystemRoot root;
    LinuxJoinState state(bus, root.path());
    EXPECT_EQ(state.Domain().outcome, JoinAnswer::Outcome::kUnknown) << file;
    root.File(file, text);
    EXPECT_EQ(state.Domain().outcome, JoinAnswer::Outcome::kAsked) << file;
    EXPECT_TRUE(state.Domain().joined) << file;
  }
  yox_test::SystemRoot root;
  root.File("etc/sssd/conf.d/.hidden.conf", files[1].second);
  root.File("etc/sssd/conf.d/10-a.conf.bak", files[1].second);
  EXPECT_FALSE(LinuxJoinState(bus, root.path()).Domain().joined);
  // The key of LAPTOP7$@R.
  root.File("etc/krb5.keytab", std::string_view("\x05\x02\0\0\0\x0f\0\1\0\1R\0\x08LAPTOP7$", 21));
  EXPECT_TRUE(LinuxJoinState(bus, root.path()).Domain().joined);
}

TEST(LinuxJoinStateTest, ARealmdWithoutARealmDoesNotHideTheConfiguration) {
  const MockedBus mocked({"discovered"});
  YOX_NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  yox_test::SystemRoot root;
  root.File("etc/samba/smb.conf", "[global]\nsecurity = ads\n");
  EXPECT_TRUE(LinuxJoinState(bus, root.path()).Domain().joined);
}

void ExpectUnknown(SystemBus& bus) {
  EXPECT_EQ(LinuxUsers(bus).LoggedInUserSid(), ""_w);
  EXPECT_FALSE(LinuxServices(bus).IsRunning("running"_wv));
  const yox_test::SystemRoot root;
  EXPECT_EQ(LinuxJoinState(bus, root.path()).Domain().outcome, JoinAnswer::Outcome::kUnknown);
}

TEST(SystemBusTest, AServiceThatHangsSilencesItselfAlone) {
  const MockedBus mocked({"logind_that_hangs", "systemd"});
  YOX_NEEDS(mocked);
  constexpr std::chrono::seconds kLimit{3};
  SystemBus bus(kLimit);
  EXPECT_EQ(LinuxUsers(bus).LoggedInUserSid(), ""_w);
  EXPECT_TRUE(LinuxServices(bus).IsRunning("running"_wv));
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(LinuxUsers(bus).LoggedInUserSid(), ""_w);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, kLimit) << "it was called again";
  EXPECT_TRUE(LinuxServices(bus).IsRunning("running"_wv));
}

TEST(SystemBusTest, AnAbsentServiceIsUnknown) {
  const MockedBus mocked({});
  YOX_NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  ExpectUnknown(bus);
}

TEST(SystemBusTest, AnAbsentBusIsUnknown) {
  const yox_test::TemporaryFolder folder;
  const std::string address = "unix:path=" + (folder.path() / "none").string();
  setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
  SystemBus bus(std::chrono::seconds(20));
  ExpectUnknown(bus);
}

TEST(SystemBusTest, ABusThatHangsIsAskedOnce) {
  const yox_test::TemporaryFolder folder;
  const std::string path = folder.path() / "bus";
  setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  path.copy(name.sun_path, sizeof name.sun_path - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
  ASSERT_EQ(listen(listener, 8), 0);

  SystemBus bus(std::chrono::milliseconds(50));
  ExpectUnknown(bus);
  ExpectUnknown(bus);
  int connections = 0;
  for (int peer; (peer = accept(listener, nullptr, nullptr)) >= 0; ++connections) close(peer);
  EXPECT_EQ(connections, 1);
  close(listener);
}

}  // namespace
