#include <gmock/gmock.h>

#include <algorithm>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "yox/base/String.h"
#include "yox/platform/PlatformContract.h"
#include "yox/platform/apps/Applications.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/users/Users.h"

namespace yox::platform {
namespace {

using testing::AnyOf;

// A line for each element, with all of its fields.
std::string Written(const std::optional<std::vector<DisplayAdapter>>& adapters) {
  if (!adapters) return "cannot be asked";
  std::string text;
  for (const DisplayAdapter& adapter : *adapters) {
    text += String::UTF16ToUTF8(adapter.description) + (adapter.software ? " software " : " ") +
            std::to_string(adapter.dedicated_video_memory) + " " +
            std::to_string(adapter.dedicated_system_memory) + " " +
            std::to_string(adapter.shared_system_memory) + "\n";
  }
  return text;
}

std::string Written(const std::optional<std::vector<Accelerator>>& accelerators) {
  if (!accelerators) return "cannot be asked";
  std::string text;
  for (const Accelerator& accelerator : *accelerators) {
    for (const auto& fact : {accelerator.manufacturer, accelerator.description}) {
      text += fact ? "'" + String::UTF16ToUTF8(*fact) + "' " : "absent ";
    }
    text += "\n";
  }
  return text;
}

class FirmwareContract : public yox_test::PlatformContract {};

TEST_P(FirmwareContract, FactsStandStillUntilTheyAreReadAgain) {
  Firmware& firmware = platform().firmware();
  const FirmwareFacts* const facts = firmware.Facts();
  EXPECT_EQ(firmware.Facts(), facts);
  const WString serial = facts != nullptr ? facts->serial_number : WString();
  firmware.Reread();
  const FirmwareFacts* const again = firmware.Facts();
  ASSERT_EQ(again != nullptr, facts != nullptr);
  EXPECT_EQ(again != nullptr ? again->serial_number : WString(), serial);
}

class OperatingSystemContract : public yox_test::PlatformContract {};

TEST_P(OperatingSystemContract, AnswersInTheNumbersThatThereAre) {
  OperatingSystem& system = platform().operating_system();
  EXPECT_THAT(system.Architecture(), AnyOf(0U, 5U, 6U, 9U, 12U, 65535U));
  EXPECT_LE(system.UpdateServiceStartType(), 4U);
}

TEST_P(OperatingSystemContract, AnswersTheSameAgain) {
  OperatingSystem& system = platform().operating_system();
  EXPECT_EQ(system.ProductName(), system.ProductName());
  EXPECT_EQ(system.EditionId(), system.EditionId());
  EXPECT_EQ(system.Version(), system.Version());
  EXPECT_EQ(system.Caption(), system.Caption());
  EXPECT_EQ(system.IsSMode(), system.IsSMode());
}

TEST_P(OperatingSystemContract, TheFirstDayIsADayOfTheCalendar) {
  OperatingSystem& system = platform().operating_system();
  const auto date = system.FirstRunDate();
  EXPECT_EQ(system.FirstRunDate(), date);
  if (!date) return;  // the system cannot tell
  EXPECT_TRUE(date->month >= 1 && date->month <= 12 && date->day >= 1 && date->day <= 31);
}

class LocaleContract : public yox_test::PlatformContract {};

TEST_P(LocaleContract, CodesAreCodesOrEmpty) {
  const LocaleFacts facts = platform().locale().Facts();
  const std::string country = String::UTF16ToUTF8(facts.country_code);
  // GoogleTest's own expressions, which it has on Windows, know no sets of characters.
  const auto consists_of = [](const std::string& text, const char* characters) {
    return text.find_first_not_of(characters) == std::string::npos;
  };
  EXPECT_TRUE(country.empty() ||
              (country.size() == 2 && consists_of(country, "ABCDEFGHIJKLMNOPQRSTUVWXYZ")) ||
              (country.size() == 3 && consists_of(country, "0123456789")))
      << country;
  const std::string language = String::UTF16ToUTF8(facts.language_code);
  EXPECT_TRUE(language.empty() ||
              (language.size() > 1 && language[0] >= 'a' && language[0] <= 'z' &&
               consists_of(language,
                           "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                           "0123456789-")))
      << language;
}

class UsersContract : public yox_test::PlatformContract {};

TEST_P(UsersContract, AUserIsASecurityIdentifierOrNobody) {
  const WString sid = platform().users().LoggedInUserSid();
  EXPECT_TRUE(sid.empty() || String::StartsWith(sid, "S-1-"_wv)) << String::UTF16ToUTF8(sid);
}

class ApplicationsContract : public yox_test::PlatformContract {};

TEST_P(ApplicationsContract, AnswersTheSameAgain) {
  Applications& applications = platform().applications();
  const std::uint64_t generation = applications.Generation();
  for (const ApplicationSource source : kApplicationSources) {
    const Applications::ByKey installed = applications.Installed(source);
    EXPECT_EQ(installed, applications.Installed(source));
  }
  EXPECT_EQ(applications.Store(), applications.Store());
  EXPECT_EQ(applications.Generation(), generation);
}

TEST_P(ApplicationsContract, WhatIsInstalledHasAKeyAndAName) {
  Applications& applications = platform().applications();
  for (const ApplicationSource source : kApplicationSources) {
    for (const auto& [key, application] : applications.Installed(source)) {
      EXPECT_NE(key, WString());
      EXPECT_NE(application.name, WString()) << String::UTF16ToUTF8(key);
    }
  }
  for (const auto& [name, version] : applications.Store()) EXPECT_NE(name, WString());
  if (has_everything()) {
    EXPECT_EQ(applications.Installed(ApplicationSource::kMachine).size(), 1U);
    EXPECT_EQ(applications.Store().size(), 1U);
  }
}

TEST_P(ApplicationsContract, AnUnreadDatabaseIsNamedWithAReason) {
  for (const WString& unread : platform().applications().Unread()) {
    EXPECT_NE(unread.find(": "_w), WString::npos) << String::UTF16ToUTF8(unread);
  }
}

class DisplayAdaptersContract : public yox_test::PlatformContract {};

TEST_P(DisplayAdaptersContract, EveryAdapterIsDescribed) {
  const auto adapters = platform().display_adapters().Enumerate();
  ASSERT_TRUE(adapters || !has_everything());
  std::size_t described = 0;
  for (const DisplayAdapter& adapter : adapters.value_or(std::vector<DisplayAdapter>())) {
    EXPECT_FALSE(adapter.description.empty());
    ++described;
  }
  if (has_everything()) {
    EXPECT_EQ(described, 1U);
  }
}

TEST_P(DisplayAdaptersContract, AnswersTheSameAgain) {
  DisplayAdapters& adapters = platform().display_adapters();
  EXPECT_EQ(Written(adapters.Enumerate()), Written(adapters.Enumerate()));
}

class AcceleratorsContract : public yox_test::PlatformContract {};

TEST_P(AcceleratorsContract, AnswersTheSameAgain) {
  Accelerators& accelerators = platform().accelerators();
  EXPECT_EQ(Written(accelerators.Enumerate()), Written(accelerators.Enumerate()));
}

class ServicesContract : public yox_test::PlatformContract {};

TEST_P(ServicesContract, AServiceThatIsNotThereDoesNotRun) {
  EXPECT_FALSE(platform().services().IsRunning("yox-no-such-service-7f3a"_wv));
  EXPECT_FALSE(platform().services().IsRunning(""_wv));
}

class JoinStateContract : public yox_test::PlatformContract {};

TEST_P(JoinStateContract, OnlyASystemThatAnsweredIsJoined) {
  for (const JoinAnswer& answer :
       {platform().join_state().Domain(), platform().join_state().Cloud()}) {
    if (!answer.joined) continue;
    EXPECT_EQ(answer.outcome, JoinAnswer::Outcome::kAsked);
    EXPECT_EQ(answer.code, 0U);
  }
  if (has_everything()) {
    EXPECT_TRUE(platform().join_state().Domain().joined);
  }
}

class ManagementQueriesContract : public yox_test::PlatformContract {};

TEST_P(ManagementQueriesContract, AnObjectThatIsNotThereHasNoRows) {
  const ManagementAnswer answer = platform().management_queries().Ask(
      "ROOT\\CIMV2"_wv, "SELECT Nothing FROM Yox_NoSuchObject"_wv, "Nothing"_wv);
  EXPECT_TRUE(answer.rows.empty());
}

class PlatformFactsContract : public yox_test::PlatformContract {};

TEST_P(PlatformFactsContract, AreTheSameInSeveralThreads) {
  const auto written = [this] {
    const FirmwareFacts* const firmware = platform().firmware().Facts();
    const LocaleFacts locale = platform().locale().Facts();
    return String::UTF16ToUTF8((firmware != nullptr ? firmware->serial_number : "none"_w) + "|"_w +
                               platform().operating_system().Caption() + "|"_w +
                               locale.country_code + "|"_w + locale.language_code + "|"_w +
                               platform().users().LoggedInUserSid()) +
           "|" + Written(platform().accelerators().Enumerate()) + "|" +
           Written(platform().display_adapters().Enumerate()) + "|" +
           (platform().services().IsRunning("ccmexec"_wv) ? "runs" : "does not run") + "|" +
           (platform().join_state().Domain().joined ? "joined" : "not joined");
  };
  const std::string expected = written();
  std::vector<std::string> read(10);
  std::thread other([&] { std::generate_n(read.begin(), 5, written); });
  std::generate_n(read.begin() + 5, 5, written);
  other.join();
  EXPECT_THAT(read, testing::Each(expected));
  if (has_everything()) {
    EXPECT_EQ(expected,
              "C0FFEE12|Microsoft Windows 11 Pro|US|en-US|S-1-5-21-1-2-3-1001|absent absent \n|"
              "Contoso Graphics 7 0 0 0\n|runs|joined");
  }
}

#define YOX_EVERY_PLATFORM(Suite) \
  INSTANTIATE_TEST_SUITE_P(, Suite, yox_test::kEveryPlatform, yox_test::RowName())
YOX_EVERY_PLATFORM(FirmwareContract);
YOX_EVERY_PLATFORM(OperatingSystemContract);
YOX_EVERY_PLATFORM(LocaleContract);
YOX_EVERY_PLATFORM(UsersContract);
YOX_EVERY_PLATFORM(ApplicationsContract);
YOX_EVERY_PLATFORM(DisplayAdaptersContract);
YOX_EVERY_PLATFORM(AcceleratorsContract);
YOX_EVERY_PLATFORM(ServicesContract);
YOX_EVERY_PLATFORM(JoinStateContract);
YOX_EVERY_PLATFORM(ManagementQueriesContract);
YOX_EVERY_PLATFORM(PlatformFactsContract);
#undef YOX_EVERY_PLATFORM

}  // namespace
}  // namespace yox::platform
