#include <gtest/gtest.h>

#include "yox/base/Printable.h"

#include "tests/support/Rows.h"

namespace yox {
namespace {

struct LineRow {
  const char* name;
  std::string text;
  std::string line;
};

class OneLineOf : public testing::TestWithParam<LineRow> {};

TEST_P(OneLineOf, ShowsNothingThatATerminalObeys) {
  EXPECT_EQ(OneLine(GetParam().text), GetParam().line);
  EXPECT_EQ(Printable(GetParam().text), GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OneLineOf,
    testing::Values(LineRow{"Empty", "", ""},
                    LineRow{"PlainText", "Z\xC3\xBCrich \xE6\xBC\xA2 \xF0\x9F\x92\xBB \\n",
                            "Z\xC3\xBCrich \xE6\xBC\xA2 \xF0\x9F\x92\xBB \\n"},
                    LineRow{"LineBreaks", "a\r\nb\tc", "a\\u000d\\u000ab\\u0009c"},
                    LineRow{"Zero", std::string("a\0b", 3), "a\\u0000b"},
                    LineRow{"Escape", "\x1b[31m", "\\u001b[31m"},
                    LineRow{"Delete", "a\x7f", "a\\u007f"},
                    LineRow{"FirstLateControl", "\xC2\x80", "\\u0080"},
                    LineRow{"NextLine", "a\xC2\x85z", "a\\u0085z"},
                    LineRow{"ControlSequenceIntroducer", "\xC2\x9B[2J", "\\u009b[2J"},
                    LineRow{"NoBreakSpaceStays", "a\xC2\xA0z", "a\xC2\xA0z"},
                    LineRow{"SoftHyphen", "a\xC2\xADz", "a\\u00adz"},
                    LineRow{"ArabicLetterMark", "\xD8\x9C", "\\u061c"},
                    LineRow{"ZeroWidthSpace", "a\xE2\x80\x8Bz", "a\\u200bz"},
                    LineRow{"RightToLeftMark", "\xE2\x80\x8F", "\\u200f"},
                    LineRow{"LineSeparator", "a\xE2\x80\xA8z", "a\\u2028z"},
                    LineRow{"ParagraphSeparator", "a\xE2\x80\xA9z", "a\\u2029z"},
                    LineRow{"RightToLeftOverride", "a\xE2\x80\xAEgpj.exe", "a\\u202egpj.exe"},
                    LineRow{"NarrowNoBreakSpaceStays", "1\xE2\x80\xAF%", "1\xE2\x80\xAF%"},
                    LineRow{"Isolate", "\xE2\x81\xA6", "\\u2066"},
                    LineRow{"ByteOrderMark", "\xEF\xBB\xBFz", "\\ufeffz"},
                    LineRow{"ReplacementCharacterStays", "\xEF\xBF\xBD", "\xEF\xBF\xBD"},
                    LineRow{"Tag", "\xF3\xA0\x81\x81", "\\udb40\\udc41"},
                    LineRow{"BadBytes", "a\xFF\xC2", "a\xEF\xBF\xBD\xEF\xBF\xBD"},
                    LineRow{"ByteOfALateControl", "\x9B[31m", "\xEF\xBF\xBD[31m"}),
    yox_test::RowName());

TEST(Printable, CutsALongText) {
  EXPECT_EQ(Printable(std::string(120, 'x')), std::string(120, 'x'));
  EXPECT_EQ(Printable(std::string(121, 'x')), std::string(120, 'x') + "...");
  EXPECT_EQ(Printable(std::string(119, 'x') + "\xC3\xA9\xC3\xA9"),
            std::string(119, 'x') + "\xC3\xA9...");
  EXPECT_EQ(OneLine(std::string(121, 'x')), std::string(121, 'x'));
}

}  // namespace
}  // namespace yox
