#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "yox/decision/Criteria.h"
#include "yox/decision/Filter.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/ListWords.h"

namespace yox::decision {
namespace {

struct WordsRow {
  const char* name;
  FilterField field;
  const char* text;
  const char* words;
};

class WordsOfACriterion : public testing::TestWithParam<WordsRow> {};

TEST_P(WordsOfACriterion, SayWhatItRequires) {
  Filter filter;
  filter.Set(GetParam().field, YOX::String::UTF8ToUTF16(GetParam().text));
  const auto words = WordsOf(*ApplicabilityFilter({filter}).snapshot());
  ASSERT_EQ(words.size(), 1U);
  EXPECT_EQ(words[0].conditions, std::vector<std::string>{GetParam().words});
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WordsOfACriterion,
    testing::ValuesIn(std::vector<WordsRow>{
        {"Alternatives", FilterField::country, "US, CA", "the country is US or CA"},
        {"Negated", FilterField::country, "!US,!CA", "the country is not US or is not CA"},
        {"Mixed", FilterField::model, "F*,*G,*H*",
         "the model begins with F or ends with G or contains H"},
        {"Anything", FilterField::mfr, "*", "the manufacturer is anything"},
        {"Version", FilterField::os_version, ">=10.0.19041,9.0",
         "the operating system's version is at least 10.0.19041 or is 9.0"},
        {"Target", FilterField::target_version, "<2.0", "the target version is below 2.0"},
        {"Tags", FilterField::tag, "Ring|pilot,!Managed,Level|>3,Beta",
         "the tag Ring is pilot and the tag Managed is not there and the tag Level is above 3 and "
         "the tag Beta is there"},
        {"TagPattern", FilterField::tag, "R*|x", "the first tag whose name begins with R is x"},
        {"Items", FilterField::installed_items, "Editor|>=7.1,Notes",
         "the application Editor's version is at least 7.1 or the application Notes is there"},
        {"Range", FilterField::date_range, "2026-01-05|2026-02-01",
         "the date is from 2026-01-05 to 2026-02-01"},
        {"OpenEnd", FilterField::date_range, "2026-01-05|*", "the date is 2026-01-05 or later"},
        {"OpenStart", FilterField::date_range, "*|2026-01-05", "the date is 2026-01-05 or earlier"},
        {"Malformed", FilterField::date_range, "soon", "the date range is soon"},
        {"Rollout", FilterField::date_function, "2026-01-05|28|linear",
         "the device is in the roll-out over 28 days from 2026-01-05 (linear)"},
        {"RolloutByOrganisation", FilterField::date_function, "2026-01-05|28|linear|tenant",
         "the organisation is in the roll-out over 28 days from 2026-01-05 (linear)"},
        {"Registry", FilterField::registry, "HKLM\\SOFTWARE\\App:Channel|beta*",
         "the registry's HKLM\\SOFTWARE\\App: Channel begins with beta"},
        {"HardwareId", FilterField::hardware_id, "PCI\\VEN_8086*",
         "the ID of a present device begins with PCI\\VEN_8086"},
    }),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ListWordsTest, EveryCriterionHasWords) {
  for (const Criterion& criterion : kCriteria) {
    Filter filter;
    filter.Set(criterion.field, "x"_w);
    const auto words = WordsOf(*ApplicabilityFilter({filter}).snapshot());
    EXPECT_TRUE(words[0].conditions.at(0).starts_with("the ") ||
                words[0].conditions.at(0).starts_with("a "))
        << criterion.name();
  }
}

TEST(ListWordsTest, ADefaultHasNoConditions) {
  const auto words = WordsOf(*ReadFilterDocument(R"([{"country": "US", "value": "false"},
                                                     {"country": "DE", "default": "true"}])")
                                  .snapshot());
  EXPECT_EQ(words[0].conditions.size(), 1U);
  EXPECT_FALSE(words[0].applies);
  EXPECT_TRUE(words[1].conditions.empty());
  EXPECT_TRUE(words[1].applies);
}

}  // namespace
}  // namespace yox::decision
