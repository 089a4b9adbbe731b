#include <gtest/gtest.h>

#include <set>
#include <string>
#include <string_view>

#include "yox/decision/Vocabulary.h"

#include "tests/support/Rows.h"

namespace yox::decision {
namespace {

struct WordRow {
  const char* name;
  WordCheck (*check)(std::string_view);
  const char* word;
  const char* meant;  // null: the word is good
};

class CheckedWord : public testing::TestWithParam<WordRow> {};

TEST_P(CheckedWord, IsGoodOrMeansAnother) {
  const WordRow& row = GetParam();
  const WordCheck found = row.check(row.word);
  EXPECT_EQ(found.good, row.meant == nullptr);
  EXPECT_EQ(found.meant, row.meant == nullptr ? "" : row.meant);
}

INSTANTIATE_TEST_SUITE_P(Countries, CheckedWord,
                         testing::Values(WordRow{"Code", CheckCountry, "US", nullptr},
                                         WordRow{"CodeInSmallLetters", CheckCountry, "zw", nullptr},
                                         WordRow{"ThreeLetters", CheckCountry, "and", "AD"},
                                         WordRow{"Name", CheckCountry, "new zealand", "NZ"},
                                         WordRow{"NameBesideLetters", CheckCountry, "Turkiye",
                                                 "TR"},
                                         WordRow{"Kingdom", CheckCountry, "uk", "GB"},
                                         WordRow{"England", CheckCountry, "England", "GB"},
                                         WordRow{"LanguageOfEngland", CheckCountry, "en", "GB"},
                                         WordRow{"Britain", CheckCountry, "Britain", "GB"},
                                         WordRow{"America", CheckCountry, "america", "US"},
                                         WordRow{"NearlyAName", CheckCountry, "Omman", "OM"},
                                         WordRow{"NearlyAShortName", CheckCountry, "Cuda", "CU"},
                                         WordRow{"TooShortToBeNear", CheckCountry, "Oma", ""},
                                         WordRow{"OneLetter", CheckCountry, "U", ""},
                                         WordRow{"Empty", CheckCountry, "", ""},
                                         WordRow{"NoneNear", CheckCountry, "Atlantis-on-Sea", ""}),
                         yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Languages, CheckedWord,
    testing::Values(WordRow{"Code", CheckLanguage, "en", nullptr},
                    WordRow{"CodeInCapitals", CheckLanguage, "EN-us", nullptr},
                    WordRow{"Script", CheckLanguage, "zh-Hans-CN", nullptr},
                    WordRow{"RegionOfThreeDigits", CheckLanguage, "es-419", nullptr},
                    WordRow{"RegionOfTwoDigits", CheckLanguage, "es-41", ""},
                    WordRow{"RegionOfThreeLetters", CheckLanguage, "es-ABC", ""},
                    WordRow{"RegionOfDigitsAndALetter", CheckLanguage, "es-41a", ""},
                    WordRow{"VariantOfFour", CheckLanguage, "de-1901", nullptr},
                    WordRow{"VariantOfEight", CheckLanguage, "en-abcdEFG9", nullptr},
                    WordRow{"VariantOfNine", CheckLanguage, "en-abcdefgh0", ""},
                    WordRow{"VariantWithASeparator", CheckLanguage, "en-US;de", ""},
                    WordRow{"ThreeLettersWithoutTwo", CheckLanguage, "fil-PH", nullptr},
                    WordRow{"ThreeLettersOfTwo", CheckLanguage, "eng", "en*"},
                    WordRow{"ThreeLettersOfTwoAndRegion", CheckLanguage, "deu-AT", "de-AT"},
                    WordRow{"ThreeCharacters", CheckLanguage, "f1l", ""},
                    WordRow{"TwoOthers", CheckLanguage, "xx", ""},
                    WordRow{"FourOthers", CheckLanguage, "abcd", ""},
                    WordRow{"Name", CheckLanguage, "english", "en*"},
                    WordRow{"NearlyAName", CheckLanguage, "Germann-CH", "de-CH"},
                    WordRow{"Underscore", CheckLanguage, "en_US", "en-US"},
                    WordRow{"UnderscoreAndEncoding", CheckLanguage, "de_DE.UTF-8", "de-DE"},
                    WordRow{"UnderscoreAndNoLanguage", CheckLanguage, "xx_DE", ""},
                    WordRow{"Kingdom", CheckLanguage, "en-UK", "en-GB"},
                    WordRow{"KingdomBetweenOthers", CheckLanguage, "sr-Latn-UK-abcd",
                            "sr-Latn-GB-abcd"},
                    WordRow{"RegionByItsName", CheckLanguage, "de-austria", nullptr},
                    WordRow{"NoRegion", CheckLanguage, "en-QQ", ""},
                    WordRow{"EmptyRegion", CheckLanguage, "en-", ""},
                    WordRow{"TwoHyphens", CheckLanguage, "en--US", ""},
                    WordRow{"Empty", CheckLanguage, "", ""}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Others, CheckedWord,
    testing::Values(
        WordRow{"Enclosure", CheckEnclosure, "all in one", nullptr},
        WordRow{"NearlyAnEnclosure", CheckEnclosure, "Note book", "Notebook"},
        WordRow{"NoEnclosure", CheckEnclosure, "Spaceship", ""},
        WordRow{"Bitness", CheckBitness, "arm64", nullptr},
        WordRow{"NotSupported", CheckBitness, "Not Supported", nullptr},
        WordRow{"X64", CheckBitness, "X64", "64"}, WordRow{"Amd64", CheckBitness, "amd64", "64"},
        WordRow{"X86And64", CheckBitness, "x86_64", "64"},
        WordRow{"Bits64", CheckBitness, "64-bit", "64"},
        WordRow{"Bits64Together", CheckBitness, "64bit", "64"},
        WordRow{"X86", CheckBitness, "x86", "32"}, WordRow{"Bits32", CheckBitness, "32-bit", "32"},
        WordRow{"Bits32Together", CheckBitness, "32bit", "32"},
        WordRow{"I386", CheckBitness, "i386", "32"}, WordRow{"Arm", CheckBitness, "ARM", "ARM64"},
        WordRow{"Aarch64", CheckBitness, "aarch64", "ARM64"},
        WordRow{"ArmWithHyphen", CheckBitness, "arm-64", "ARM64"},
        WordRow{"NearlyABitness", CheckBitness, "not suported", "not supported"},
        WordRow{"NoBitness", CheckBitness, "mips", ""}),
    yox_test::RowName());

TEST(Guids, HaveHexadecimalDigitsAndHyphensInTheirPlaces) {
  const std::string guid = "01234567-89ab-cdef-ABCD-EF0123456789";
  EXPECT_TRUE(IsGuid(guid));
  EXPECT_TRUE(IsGuid("{" + guid + "}"));
  EXPECT_FALSE(IsGuid("{" + guid));
  EXPECT_FALSE(IsGuid(guid + "}"));
  EXPECT_FALSE(IsGuid("{{" + guid + "}}"));
  EXPECT_FALSE(IsGuid(guid.substr(1)));
  EXPECT_FALSE(IsGuid(guid + "0"));
  EXPECT_FALSE(IsGuid("{}"));
  EXPECT_FALSE(IsGuid(""));
  for (std::size_t i = 0; i < guid.size(); ++i) {
    for (const char other : {'/', ':', '@', 'G', '`', 'g', guid[i] == '-' ? '0' : '-'}) {
      std::string changed = guid;
      changed[i] = other;
      EXPECT_FALSE(IsGuid(changed)) << changed;
    }
  }
}

// The codes are what other files and people use: each once, in order, of their form.
TEST(Codes, AreInOrderWithThreeLettersAndAName) {
  for (const auto& rows : {Countries(), Languages()}) {
    std::set<std::string_view> others;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      EXPECT_EQ(rows[i].code.size(), 2U);
      EXPECT_EQ(rows[i].other.size(), 3U);
      EXPECT_FALSE(rows[i].name.empty());
      EXPECT_TRUE(others.insert(rows[i].other).second) << rows[i].other;
      EXPECT_TRUE(i == 0 || rows[i - 1].code < rows[i].code) << rows[i].code;
    }
  }
  EXPECT_EQ(Countries().size(), 250U);
  EXPECT_EQ(Languages().size(), 184U);
}

// Names that the product chooses itself, or whose values come from the device.
TEST(ProductTags, WithOpenValuesAreThese) {
  std::string open;
  for (const TagRow& row : ProductTags()) {
    if (row.is_open) open += std::string(row.name) + " ";
    EXPECT_TRUE(!row.is_open || row.values.empty()) << row.name;
  }
  EXPECT_EQ(open,
            "Device.Hardware.Gpu.Intel Device.Hardware.Gpu.NVIDIA Device.Hardware.Gpu.AMD "
            "Device.Hardware.Gpu.Others Device.Hardware.Npu.mfr Device.Hardware.Npu.description "
            "DaysSinceOobe OobeDate ");
}

}  // namespace
}  // namespace yox::decision
