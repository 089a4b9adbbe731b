#include <gtest/gtest.h>

#include <string>

#include "yox/platform/system/linux/DomainMembership.h"

#include "tests/support/Rows.h"

namespace yox::platform {
namespace {

using namespace std::string_literals;

struct ConfigurationRow {
  const char* name;
  const char* text;
  bool joined;
};

class SssdTest : public testing::TestWithParam<ConfigurationRow> {};

TEST_P(SssdTest, ADomainOfADirectoryCounts) {
  EXPECT_EQ(SssdHasDomain({GetParam().text}), GetParam().joined);
}

INSTANTIATE_TEST_SUITE_P(
    , SssdTest,
    testing::Values(
        ConfigurationRow{"ActiveDirectory",
                         "[sssd]\ndomains = Corp.Contoso.Example\n"
                         "[domain/corp.contoso.example]\nid_provider = ad\n",
                         true},
        ConfigurationRow{"FreeIpaAmongOthers",
                         "# a comment\n[sssd]\ndomains = files, ipa.example\n[domain/files]\n"
                         "id_provider = proxy\n[domain/ipa.example]\n ID_Provider = IPA \n",
                         true},
        ConfigurationRow{"EnabledByItself", "[domain/a]\nid_provider=ad\nenabled = true\n", true},
        ConfigurationRow{"NotEnabled", "[sssd]\ndomains = b\n[domain/a]\nid_provider = ad\n",
                         false},
        ConfigurationRow{"OnlyAPartOfAName", "[sssd]\ndomains = aa\n[domain/a]\nid_provider = ad\n",
                         false},
        ConfigurationRow{"AnotherProvider", "[sssd]\ndomains = a\n[domain/a]\nid_provider = ldap\n",
                         false},
        ConfigurationRow{"CommentedOut",
                         "[sssd]\ndomains = a\n[domain/a]\n#id_provider = ad\n;id_provider = ad\n",
                         false},
        ConfigurationRow{"Nothing", "", false}),
    yox_test::RowName());

TEST(SssdSnippetsTest, TheLastFileThatSetsAValueCounts) {
  constexpr const char* kMain = "[sssd]\ndomains = a\n[domain/a]\nid_provider = ldap\n";
  EXPECT_TRUE(SssdHasDomain({kMain, "[domain/a]\nid_provider = ad\n"}));
  EXPECT_FALSE(SssdHasDomain({"[domain/a]\nid_provider = ad\n", kMain}));
}

class WinbindTest : public testing::TestWithParam<ConfigurationRow> {};

TEST_P(WinbindTest, AMemberOfADomainSaysSo) {
  EXPECT_EQ(WinbindHasDomain(GetParam().text), GetParam().joined);
}

INSTANTIATE_TEST_SUITE_P(
    , WinbindTest,
    testing::Values(ConfigurationRow{"ActiveDirectory", "[global]\n\tsecurity = ADS\n", true},
                    ConfigurationRow{"NtDomain", "[global]\n   Secu rity=domain\n", true},
                    ConfigurationRow{"StandAlone", "[global]\nsecurity = user\n", false},
                    ConfigurationRow{"OfAShare", "[global]\n[ads]\nsecurity = ads\n", false},
                    ConfigurationRow{"Nothing", "", false}),
    yox_test::RowName());

std::string Number(std::size_t number, int size) {
  std::string bytes;
  for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
    bytes += static_cast<char>(number >> shift);
  return bytes;
}

std::string Counted(const std::string& text) { return Number(text.size(), 2) + text; }

// An entry for a principal, with a key of eight bytes.
std::string Entry(const std::vector<std::string>& components, const std::string& realm) {
  std::string entry = Number(components.size(), 2) + Counted(realm);
  for (const std::string& component : components) entry += Counted(component);
  entry += Number(1, 4) + Number(1700000000, 4) + "\1"s + Number(18, 2) + Counted("12345678");
  return Number(entry.size(), 4) + entry;
}

const std::string kHeader = "\x05\x02";

struct KeytabRow {
  const char* name;
  std::string keytab;
  bool joined;
};

class KeytabTest : public testing::TestWithParam<KeytabRow> {};

TEST_P(KeytabTest, AKeyOfAMachineIsASignOfAJoin) {
  EXPECT_EQ(KeytabHasMachine(GetParam().keytab), GetParam().joined);
}

INSTANTIATE_TEST_SUITE_P(
    , KeytabTest,
    testing::Values(
        KeytabRow{"ActiveDirectory", kHeader + Entry({"LAPTOP7$"}, "CONTOSO.EXAMPLE"), true},
        KeytabRow{"Host", kHeader + Entry({"host", "laptop7.contoso.example"}, "CONTOSO"), true},
        KeytabRow{"AfterAnotherEntryAndAHole",
                  kHeader + Entry({"HTTP", "laptop7"}, "R") + Number(0xFFFFFFFC, 4) + "hole" +
                      Entry({"LAPTOP7$"}, "R"),
                  true},
        KeytabRow{"OfAServiceAlone", kHeader + Entry({"nfs", "laptop7"}, "R"), false},
        KeytabRow{"OfAUser", kHeader + Entry({"alice"}, "R"), false},
        KeytabRow{"WithoutARealm", kHeader + Entry({"LAPTOP7$"}, ""), false},
        KeytabRow{"Empty", kHeader, false}, KeytabRow{"NoFile", "", false},
        KeytabRow{"FormerVersion", "\x05\x01" + Entry({"LAPTOP7$"}, "R"), false}),
    yox_test::RowName());

TEST(KeytabBytesTest, ACutOffFileIsReadUpToTheCut) {
  const std::string keytab = kHeader + Entry({"nfs", "laptop7"}, "R") + Entry({"LAPTOP7$"}, "R");
  for (std::size_t size = 0; size < keytab.size(); ++size) {
    EXPECT_FALSE(KeytabHasMachine(keytab.substr(0, size))) << size;
  }
  EXPECT_TRUE(KeytabHasMachine(keytab));
  EXPECT_FALSE(KeytabHasMachine(kHeader + "\x80\0\0\0"s));
  EXPECT_FALSE(KeytabHasMachine(kHeader + "\0\0\0\x7f\0\1"s));
}

}  // namespace
}  // namespace yox::platform
