#include <gtest/gtest.h>

#include <cstdlib>

#include "yox/base/String.h"
#include "yox/platform/system/linux/LinuxLocale.h"

#include "tests/support/MockedBus.h"
#include "tests/support/Rows.h"
#include "tests/support/SystemRoot.h"

namespace yox::platform {
namespace {

using yox_test::MockedBus;
using Root = yox_test::SystemRoot;

constexpr char kZoneTab[] =
    "# comment\n"
    "AT\t+4813+01620\tEurope/Vienna\n"
    "DE\t+5230+01322\tEurope/Berlin\tmost of Germany\n"
    "NO\t+5955+01045\tEurope/Oslo\n";
constexpr char kZone1970Tab[] =
    "DE,DK,NO,SE,SJ\t+5230+01322\tEurope/Berlin\tmost of Germany\n"
    "PF,US\t-1732-14934\tPacific/Tahiti\tislands\n";

struct LocaleRow {
  const char* name;
  const char* settings;
  const char* zone;
  const char* facts;  // country code, country, language code, language
};
class LinuxLocaleTest : public testing::TestWithParam<LocaleRow> {};

TEST_P(LinuxLocaleTest, ReadsCountryAndLanguage) {
  yox_test::UseNoBus();
  const LocaleRow& row = GetParam();
  Root root;
  root.File("etc/locale.conf", row.settings);
  root.File("usr/share/zoneinfo/zone.tab", kZoneTab);
  root.File("usr/share/zoneinfo/zone1970.tab", kZone1970Tab);
  if (*row.zone != 0) root.Link("etc/localtime", std::string("../usr/share/zoneinfo/") + row.zone);
  SystemBus bus;
  const LocaleFacts facts = LinuxLocale(bus, root.path(), nullptr).Facts();
  EXPECT_EQ(String::UTF16ToUTF8(facts.country_code + "|"_w + facts.country_name + "|"_w +
                                facts.language_code + "|"_w + facts.language_name),
            row.facts);
  EXPECT_EQ(facts.region_name, facts.country_name);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LinuxLocaleTest,
    testing::Values(
        LocaleRow{"TheZoneBeforeTheLanguage", "LANG=en_US.UTF-8\n", "Europe/Berlin",
                  "DE|Germany|en-US|English (United States)"},
        LocaleRow{"TheLanguageWithoutAZone", "LANG=en_US.UTF-8\n", "",
                  "US|United States|en-US|English (United States)"},
        LocaleRow{"TheLanguageInNoCountrysZone", "LANG=\"de_AT.UTF-8@euro\"\n", "Etc/UTC",
                  "AT|Austria|de-AT|German (Austria)"},
        LocaleRow{"ChosenFormatsBeforeTheZone", "LANG=en_US.UTF-8\nLC_MONETARY=de_DE.UTF-8\n",
                  "America/New_York", "DE|Germany|en-US|English (United States)"},
        LocaleRow{"FormatsThatFollowTheLanguage",
                  "LANG=en_US.UTF-8\nLC_ALL=en_US.UTF-8\nLC_MONETARY=en_US.UTF-8\n",
                  "Europe/Berlin", "DE|Germany|en-US|English (United States)"},
        LocaleRow{"TheFirstFormatThatDiffers",
                  "LANG=en_US.UTF-8\nLC_MONETARY=en_US.UTF-8\nLC_PAPER=en_GB.UTF-8\n",
                  "Europe/Berlin", "GB|United Kingdom|en-US|English (United States)"},
        LocaleRow{"ATasteInDatesIsNoCountry", "LANG=en_US.UTF-8\nLC_TIME=en_DK.UTF-8\n",
                  "Europe/Berlin", "DE|Germany|en-US|English (United States)"},
        LocaleRow{"ACountrysOwnNameOfASharedZone", "LANG=nb_NO.UTF-8\n", "Europe/Oslo",
                  "NO|Norway|nb-NO|Norwegian Bokmål (Norway)"},
        LocaleRow{"TheFirstCountryOfASharedZone", "LANG=C.UTF-8\n", "Pacific/Tahiti",
                  "PF|French Polynesia||"},
        LocaleRow{"AFormerNameOfAZone", "LANG=C.UTF-8\n", "US/Pacific", "US|United States||"},
        LocaleRow{"AFormerNameThatSharesAnothersZone", "LANG=C.UTF-8\n", "Africa/Asmera",
                  "ER|Eritrea||"},
        LocaleRow{"AZoneThatIsInNoTableOfTheSystem", "LANG=C.UTF-8\n", "Asia/Tokyo", "JP|Japan||"},
        LocaleRow{"ANameWithBrackets", "LANG=my_MM.UTF-8\n", "",
                  "MM|Myanmar (Burma)|my-MM|Burmese (Myanmar [Burma])"},
        LocaleRow{"CodesWithoutNames", "LANG=QQQ_QX.UTF-8\n", "", "QX|QX|QQQ-QX|qqq (QX)"},
        LocaleRow{"LanguageWithoutCountry", "LANG=eo.UTF-8\n", "Europe/Vienna",
                  "AT|Austria|eo|Esperanto"},
        LocaleRow{"ARegionOfTheWorld", "LANG=es_419.UTF-8\n", "",
                  "419|Latin America|es-419|Spanish (Latin America)"},
        LocaleRow{"NoCountryAtAll", "LANG=en_us_posix\n", "", "||en|English"},
        LocaleRow{"NoLanguageAndNoPlace", "LANG=C.UTF-8\n", "Etc/UTC", "|||"},
        LocaleRow{"UnknownZone", "", "Mars/Olympus", "|||"}, LocaleRow{"Nothing", "", "", "|||"}),
    yox_test::RowName());

std::string Country(SystemBus& bus, const Root& root) {
  return String::UTF16ToUTF8(LinuxLocale(bus, root.path(), nullptr).Facts().country_code);
}

TEST(LinuxLocaleSourcesTest, AFileThatSetsNothingHidesNoOther) {
  yox_test::UseNoBus();
  SystemBus bus;
  Root root;
  root.File("etc/locale.conf", "# empty\nLANG=\n").File("etc/default/locale", "LANG=fr_FR.UTF-8\n");
  EXPECT_EQ(Country(bus, root), "FR");
}

TEST(LinuxLocaleSourcesTest, AnEmptyFileHidesNoEnvironment) {
  yox_test::UseNoBus();
  SystemBus bus;
  Root root;
  root.File("etc/default/locale", "");
  unsetenv("LC_ALL");
  setenv("LANG", "pt_BR.UTF-8", 1);
  setenv("LC_MONETARY", "pt_PT.UTF-8", 1);
  const LocaleFacts facts = LinuxLocale(bus, root.path(), getenv).Facts();
  EXPECT_EQ(facts.language_code, "pt-BR"_w);
  EXPECT_EQ(facts.country_code, "PT"_w);
}

TEST(LinuxLocaleSourcesTest, SystemdsSettingsCountWhereNoFileHasAny) {
  const MockedBus mocked({"locale1"});
  YOX_NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  Root root;
  root.File("etc/default/locale", "");
  const LocaleFacts facts = LinuxLocale(bus, root.path(), nullptr).Facts();
  EXPECT_EQ(facts.country_code, "CA"_w);
  EXPECT_EQ(facts.language_code, "en-US"_w);
  root.File("etc/default/locale", "LANG=fr_FR.UTF-8\n");
  EXPECT_EQ(Country(bus, root), "FR");
}

TEST(LinuxLocaleSourcesTest, TheFormatsOfTheUsersAccountComeFirst) {
  const MockedBus mocked({"logind", "formats_of_austria"});
  YOX_NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  Root root;
  root.File("etc/locale.conf", "LANG=en_US.UTF-8\nLC_MONETARY=de_DE.UTF-8\n");
  root.Link("etc/localtime", "/usr/share/zoneinfo/Europe/Paris");
  EXPECT_EQ(Country(bus, root), "AT");
}

TEST(LinuxLocaleSourcesTest, FormatsThatFollowTheSystemsLanguageSayNothing) {
  const MockedBus mocked({"logind", "formats_of_the_language"});
  YOX_NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  Root root;
  root.File("etc/locale.conf", "LANG=en_US.UTF-8\n");
  root.Link("etc/localtime", "/usr/share/zoneinfo/Europe/Paris");
  EXPECT_EQ(Country(bus, root), "FR");
}

TEST(LinuxLocaleSourcesTest, AnAccountOfAnotherUserIsNotRead) {
  const MockedBus mocked({"remote", "formats_of_austria"});
  YOX_NEEDS(mocked);
  SystemBus bus(std::chrono::seconds(20));
  Root root;
  root.File("etc/locale.conf", "LANG=en_US.UTF-8\n");
  EXPECT_EQ(Country(bus, root), "US");
}

}  // namespace
}  // namespace yox::platform
