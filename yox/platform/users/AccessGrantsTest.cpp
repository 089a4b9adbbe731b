#include <gtest/gtest.h>

#include "yox/platform/users/AccessGrants.h"

#include "tests/support/Rows.h"

namespace {

using yox::AccessGrant;
using yox::ParseAccessGrants;
using namespace yox::literals;

TEST(AccessGrantsTest, ReadsAccountsInheritanceAndRights) {
  const auto grants = ParseAccessGrants("/q /grant *S-1-5-32-544:(OI)(CI)F *S-1-5-18:(OI)(CI)F"_wv);
  ASSERT_TRUE(grants);
  EXPECT_EQ(*grants, (std::vector<AccessGrant>{
                         {"S-1-5-32-544"_w, true, true, true, true, true},
                         {"S-1-5-18"_w, true, true, true, true, true},
                     }));
}

TEST(AccessGrantsTest, ReadAndWriteAreNotFullAccess) {
  const auto grants = ParseAccessGrants("/q /grant *S-1-5-32-544:RW *S-1-5-18:R"_wv);
  ASSERT_TRUE(grants);
  EXPECT_EQ(*grants, (std::vector<AccessGrant>{
                         {"S-1-5-32-544"_w, false, false, true, true, false},
                         {"S-1-5-18"_w, false, false, true, false, false},
                     }));
}

struct Malformed {
  const char* name;
  yox::WString text;
};

class MalformedGrantsTest : public testing::TestWithParam<Malformed> {};

TEST_P(MalformedGrantsTest, AreRefusedAsAWhole) {
  EXPECT_FALSE(ParseAccessGrants(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MalformedGrantsTest,
    testing::Values(Malformed{"Nothing", ""_w}, Malformed{"NoGrant", "/q /grant "_w},
                    Malformed{"AnotherOption", "/q /deny *S-1-5-18:F"_w},
                    Malformed{"NameInPlaceOfSid", "/q /grant Everyone:F"_w},
                    Malformed{"NoRights", "/q /grant *S-1-5-18:"_w},
                    Malformed{"NoColon", "/q /grant *S-1-5-18"_w},
                    Malformed{"UnknownRight", "/q /grant *S-1-5-18:RX"_w},
                    Malformed{"LettersInSid", "/q /grant *S-1-5-x:F"_w},
                    Malformed{"SecondOneBad", "/q /grant *S-1-5-18:F *S-1-5-18:Q"_w},
                    Malformed{"TwoBlanks", "/q /grant *S-1-5-18:F  *S-1-5-18:F"_w}),
    yox_test::RowName());

}  // namespace
