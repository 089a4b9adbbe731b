#include "yox/base/String.h"
#include "yox/platform/apps/RegistryApplications.h"
#include "yox/platform/registry/RegistryPlatform.h"

#include "tests/support/Rows.h"
#include "tests/support/ScriptedUsers.h"

namespace yox::platform {
namespace {

const WString kUninstall = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"_w;
const WString kUninstall32 =
    "SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"_w;
const WString kStaged =
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Appx\\AppxAllUserStore\\Applications\\"_w;
const WString kOfUser =
    "Software\\Classes\\Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\"
    "Repository\\Packages\\"_w;

class RegistryApplicationsTest : public yox_test::OnEveryRegistry {
 protected:
  void Install(HKEY root, const WString& path, const WString& name, const WString& version) {
    const RegistryKey key{root, path, RegistryView::k64Bit, {}};
    Set(key, "DisplayName"_w, RegistryValue::Text(name));
    Set(key, "Publisher"_w, RegistryValue::ExpandableText("Contoso Ltd"_w));
    Set(key, "DisplayVersion"_w, RegistryValue::Text(version));
  }
  void Stage(HKEY root, const WString& path) {
    ASSERT_EQ(registry().CreateKey({root, path, {}, {}}), RegistryStatus::kOk);
  }
  // "key=name version;" for each, of what the test installed.
  std::string Text(ApplicationSource source) {
    std::string text;
    for (const auto& [key, application] : applications_.Installed(source)) {
      if (application.publisher != "Contoso Ltd"_w) continue;
      text += String::UTF16ToUTF8(key + "="_w + application.name + " "_w + application.version);
      text += ";";
    }
    return text;
  }

  yox_test::ScriptedUsers users_;
  RegistryApplications applications_{registry(), users_};
};
YOX_ON_EVERY_REGISTRY(RegistryApplicationsTest);

TEST_P(RegistryApplicationsTest, EachSourceHasItsUninstallKey) {
  Install(HKEY_LOCAL_MACHINE, kUninstall + "{1234}"_w, "Contoso Editor"_w, "7.1.0"_w);
  Install(HKEY_LOCAL_MACHINE, kUninstall32 + "Viewer"_w, "Contoso Viewer"_w, "2.0"_w);
  Install(HKEY_CURRENT_USER, kUninstall + "yox-test-notes"_w, "Contoso Notes"_w, ""_w);
  EXPECT_EQ(Text(ApplicationSource::kMachine), "{1234}=Contoso Editor 7.1.0;");
  EXPECT_EQ(Text(ApplicationSource::kMachine32), "Viewer=Contoso Viewer 2.0;");
  EXPECT_EQ(Text(ApplicationSource::kUser), "yox-test-notes=Contoso Notes ;");
  ASSERT_EQ(registry().DeleteKey({HKEY_CURRENT_USER, kUninstall + "yox-test-notes"_w, {}, {}}),
            RegistryStatus::kOk);
}

TEST_P(RegistryApplicationsTest, AnEntryWithoutANameIsNoApplication) {
  Stage(HKEY_LOCAL_MACHINE, kUninstall + "AddressBook"_w);
  Set({HKEY_LOCAL_MACHINE, kUninstall + "Number"_w, {}, {}}, "DisplayName"_w,
      RegistryValue::Dword(7));
  EXPECT_TRUE(applications_.Installed(ApplicationSource::kMachine).empty());
}

TEST_P(RegistryApplicationsTest, WithoutUninstallKeysThereIsNothing) {
  EXPECT_TRUE(applications_.Installed(ApplicationSource::kMachine).empty());
  EXPECT_TRUE(applications_.Installed(ApplicationSource::kMachine32).empty());
  EXPECT_EQ(applications_.Generation(), 0U);
}

TEST_P(RegistryApplicationsTest, TheSystemsAccountSpeaksOfWhoIsLoggedOn) {
  Install(HKEY_CURRENT_USER, kUninstall + "yox-test-notes"_w, "Contoso Notes"_w, "1"_w);
  users_.system_process = true;
  EXPECT_EQ(Text(ApplicationSource::kUser), "") << "nobody is logged on";
  users_.sid = own_user();
  EXPECT_EQ(Text(ApplicationSource::kUser), "yox-test-notes=Contoso Notes 1;");
  ASSERT_EQ(registry().DeleteKey({HKEY_CURRENT_USER, kUninstall + "yox-test-notes"_w, {}, {}}),
            RegistryStatus::kOk);
}

TEST_P(RegistryApplicationsTest, StorePackagesAreThoseOfAllUsersAndTheUsersOwn) {
  const WString own = kOfUser + "YoxTest.Own_1.0.0.0_neutral__8wekyb3d8bbwe"_w;
  Stage(HKEY_LOCAL_MACHINE, kStaged + "YoxTest.Notes_2.0.1.0_x64__8wekyb3d8bbwe"_w);
  Stage(HKEY_LOCAL_MACHINE, kStaged + "YoxTest.Notes_2.0.10.0_x64__8wekyb3d8bbwe"_w);
  Stage(HKEY_LOCAL_MACHINE, kStaged + "YoxTest.Notes_2.0.9.0_x86__8wekyb3d8bbwe"_w);
  Stage(HKEY_LOCAL_MACHINE, kStaged + "something else"_w);
  Stage(HKEY_CURRENT_USER, own);
  const auto store = applications_.Store();
  EXPECT_EQ(store.at("YoxTest.Notes"_w), "2.0.10.0"_w);
  EXPECT_EQ(store.at("YoxTest.Own"_w), "1.0.0.0"_w);
  EXPECT_EQ(store.count("something else"_w), 0U);
  ASSERT_EQ(registry().DeleteKey({HKEY_CURRENT_USER, own, {}, {}}), RegistryStatus::kOk);
}

struct FullNameRow {
  const char* name;
  const char* full_name;
  const char* read;  // "name version", empty: refused
};
class PackageFullName : public testing::TestWithParam<FullNameRow> {};

TEST_P(PackageFullName, IsReadOrRefused) {
  const auto read = ReadPackageFullName(String::UTF8ToUTF16(GetParam().full_name));
  EXPECT_EQ(read ? String::UTF16ToUTF8(read->first + " "_w + read->second) : "", GetParam().read);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PackageFullName,
    testing::Values(
        FullNameRow{"OfAnApplication", "Contoso.Notes_2.0.1.0_x64__8wekyb3d8bbwe",
                    "Contoso.Notes 2.0.1.0"},
        FullNameRow{"NeutralResources", "A.B_10.0.19041.1_neutral_neutral_cw5n1h2txyewy",
                    "A.B 10.0.19041.1"},
        FullNameRow{"LargestNumbers", "A_65535.65535.65535.65535_x64__p",
                    "A 65535.65535.65535.65535"},
        FullNameRow{"Bundle", "Contoso.Notes_2023.1.1.0_neutral_~_8wekyb3d8bbwe", ""},
        FullNameRow{"Language", "Contoso.Notes_2.0.1.0_neutral_split.language-de_8wekyb3d8bbwe",
                    ""},
        FullNameRow{"FourParts", "Contoso.Notes_2.0.1.0_x64_8wekyb3d8bbwe", ""},
        FullNameRow{"SixParts", "Contoso_Notes_2.0.1.0_x64__8wekyb3d8bbwe", ""},
        FullNameRow{"NoName", "_2.0.1.0_x64__8wekyb3d8bbwe", ""},
        FullNameRow{"ThreeNumbers", "A_2.0.1_x64__p", ""},
        FullNameRow{"FiveNumbers", "A_2.0.1.0.0_x64__p", ""},
        FullNameRow{"NotANumber", "A_2.0.1.x_x64__p", ""},
        FullNameRow{"EmptyNumber", "A_2..1.0_x64__p", ""},
        FullNameRow{"LongNumber", "A_2.0.1.100000_x64__p", ""}, FullNameRow{"Nothing", "", ""}),
    yox_test::RowName());

}  // namespace
}  // namespace yox::platform
