#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "yox/base/String.h"
#include "yox/decision/Implications.h"

#include "tests/support/Encodings.h"
#include "tests/support/Rows.h"

namespace yox::decision {
namespace {

using YOX::String;
using yox_test::Utf8;

// What is true of requirements by trying all values. The values are such that an exception to a
// relation is among them, if there is one.
template <class Requirement, class Matches>
class Tried {
 public:
  Tried(std::vector<WString> texts, std::vector<WString> values, Matches matches)
      : texts_(std::move(texts)), values_(std::move(values)), matches_(matches) {
    for (const WString& text : texts_) requirements_.push_back(Requirement::Parse(text));
  }

  void ExpectHoldings() const {
    for (std::size_t i = 0; i < texts_.size(); ++i) {
      const Holding tried =
          ForAll([&](const WString& value) { return Meets(i, value); })    ? Holding::kAlways
          : ForAll([&](const WString& value) { return !Meets(i, value); }) ? Holding::kNever
                                                                           : Holding::kSometimes;
      EXPECT_EQ(HoldingOf(requirements_[i]), tried) << Utf8(texts_[i]);
    }
  }

  template <class Says, class Pair>
  void Expect(Says says, Pair pair) const {
    for (std::size_t i = 0; i < texts_.size(); ++i) {
      for (std::size_t k = 0; k < texts_.size(); ++k) {
        const bool tried =
            ForAll([&](const WString& value) { return pair(Meets(i, value), Meets(k, value)); });
        EXPECT_EQ(says(requirements_[i], requirements_[k]), tried)
            << '"' << Utf8(texts_[i]) << "\" and \"" << Utf8(texts_[k]) << '"';
      }
    }
  }

 private:
  template <class Check>
  bool ForAll(Check check) const {
    for (const WString& value : values_) {
      if (!check(value)) return false;
    }
    return true;
  }
  bool Meets(std::size_t i, const WString& value) const {
    return matches_(requirements_[i], value);
  }

  const std::vector<WString> texts_;
  const std::vector<WString> values_;
  const Matches matches_;
  std::vector<Requirement> requirements_;
};

constexpr auto kNotBoth = [](bool a, bool b) { return !(a && b); };
constexpr auto kEither = [](bool a, bool b) { return a || b; };
constexpr auto kImplied = [](bool a, bool b) { return !a || b; };

// The words of at most `size` letters.
std::vector<WString> Words(WStringView letters, std::size_t size) {
  std::vector<WString> words = {{}};
  for (std::size_t begin = 0, length = 0; length < size; ++length) {
    const std::size_t end = words.size();
    for (; begin < end; ++begin) {
      for (const WChar letter : letters) words.push_back(words[begin] + letter);
    }
  }
  return words;
}

auto TriedPatterns() {
  std::vector<WString> texts;
  for (const char* const text : {"", "x*y", "!x*y", "!a ", "! a*", "!* a", "!*a *", "* b", "a *",
                                 "!a *", "!* b", "* b*", "*a *"}) {
    texts.push_back(String::UTF8ToUTF16(text));
  }
  for (const char* const sign : {"", "!"}) {
    for (const char* const word : {"", "a", "b", "ab", "aa", "B"}) {
      for (const char* const before : {"", "*"}) {
        for (const char* const after : {"", "*"}) {
          texts.push_back(String::UTF8ToUTF16(std::string(sign) + before + word + after));
        }
      }
    }
  }
  const auto matches = [](const TextPattern& pattern, const WString& value) {
    return pattern.Matches(value);
  };
  std::vector<WString> values;
  for (WString& word : Words("abc "_wv, 5)) {
    if (String::Trimmed(word) == word) values.push_back(std::move(word));
  }
  return Tried<TextPattern, decltype(matches)>(texts, values, matches);
}

TEST(ImpliedPatterns, AreWhatTryingAllTextsShows) {
  const auto tried = TriedPatterns();
  tried.ExpectHoldings();
  tried.Expect([](const auto& a, const auto& b) { return Contradict(a, b); }, kNotBoth);
  tried.Expect([](const auto& a, const auto& b) { return Cover(a, b); }, kEither);
  tried.Expect([](const auto& a, const auto& b) { return Implies(a, b); }, kImplied);
}

auto TriedVersions() {
  std::vector<WString> texts = {"x"_w, ">=x"_w, "1"_w};
  for (const char* const sign : {"", "!", "<", "<=", ">", ">="}) {
    for (const char* const version : {"0.0", "1.0", "1.00", "2.0"}) {
      const std::string text = std::string(sign) + version;
      // It is ">0.0", which is not found.
      if (text != "!0.0") texts.push_back(String::UTF8ToUTF16(text));
    }
  }
  const auto matches = [](const VersionRequirement& requirement, const WString& value) {
    VersionText text(value);
    return requirement.Matches(text);
  };
  return Tried<VersionRequirement, decltype(matches)>(
      texts,
      {"0.0"_w, "0.00"_w, "0.5"_w, "1.0"_w, "1.00"_w, "01.0"_w, "1.5"_w, "2.0"_w, "2.00"_w,
       "2.5"_w},
      matches);
}

TEST(ImpliedVersions, AreWhatTryingAllVersionsShows) {
  const auto tried = TriedVersions();
  tried.ExpectHoldings();
  // One that matches every version is found as such.
  const auto always = [](const auto& a) { return HoldingOf(a) == Holding::kAlways; };
  tried.Expect([&](const auto& a, const auto& b) { return always(a) || always(b) || Cover(a, b); },
               kEither);
  tried.Expect([&](const auto& a, const auto& b) { return always(b) || Implies(a, b); }, kImplied);
}

// Every window of three days, open windows, and some that are none.
TEST(ImpliedWindows, AreWhatTryingAllDaysShows) {
  const std::vector<const char*> dates = {"*",          "2026-03-01", "2026-03-02",
                                          "2026-03-31", "2026-04-01", "2027-01-01"};
  std::vector<std::string> texts = {"2026-03-01", "*|*|*", "x|*", "*|x", "2026-03-01|x"};
  for (const char* const start : dates) {
    for (const char* const end : dates) texts.push_back(std::string(start) + "|" + end);
  }
  const std::vector<LocalDate> days = {{2026, 2, 28}, {2026, 3, 1}, {2026, 3, 2}, {2026, 3, 3},
                                       {2026, 3, 31}, {2026, 4, 1}, {2026, 4, 2}, {2026, 12, 31},
                                       {2027, 1, 1},  {2027, 1, 2}};
  const auto all = [&](auto check) {
    for (const LocalDate& day : days) {
      if (!check(day)) return false;
    }
    return true;
  };
  std::vector<WString> kept;
  for (const std::string& text : texts) kept.push_back(String::UTF8ToUTF16(text));
  std::vector<DateRange> ranges;
  for (const WString& text : kept) ranges.push_back(DateRange::Parse(text));
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    const DateRange& a = ranges[i];
    const bool always = all([&](const LocalDate& day) { return a.Contains(day); });
    const bool never = all([&](const LocalDate& day) { return !a.Contains(day); });
    EXPECT_EQ(HoldingOf(a), always  ? Holding::kAlways
                            : never ? Holding::kNever
                                    : Holding::kSometimes)
        << texts[i];
    for (std::size_t k = 0; k < ranges.size(); ++k) {
      const DateRange& b = ranges[k];
      const bool implied =
          all([&](const LocalDate& day) { return !a.Contains(day) || b.Contains(day); });
      EXPECT_EQ(Implies(a, b), implied) << texts[i] << " and " << texts[k];
    }
  }
}

// Of windows with dates that are not compared.
TEST(ImpliedWindows, OfUnreadableNumbersAreNotSaidToBe) {
  const auto implies = [](const char* a, const char* b) {
    const WString one = String::UTF8ToUTF16(a);
    const WString other = String::UTF8ToUTF16(b);
    return Implies(DateRange::Parse(one), DateRange::Parse(other));
  };
  EXPECT_FALSE(implies("2026-x-01|*", "2026-01-01|*"));
  EXPECT_FALSE(implies("2027-01-01|*", "2026-x-01|*"));
  EXPECT_FALSE(implies("*|2026-01-x", "*|2027-01-01"));
  EXPECT_TRUE(implies("x-01-01|*", "2027-01-01|*"));
}

struct RolloutRow {
  const char* name;
  const char* text;
  Holding holding;
};

class RolloutHolding : public testing::TestWithParam<RolloutRow> {};

TEST_P(RolloutHolding, IsNeverForWhatIncludesNoDevice) {
  const WString text = String::UTF8ToUTF16(GetParam().text);
  EXPECT_EQ(HoldingOf(Rollout::Parse(text)), GetParam().holding);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RolloutHolding,
    testing::Values(RolloutRow{"Growing", "2026-03-01|28|linear", Holding::kSometimes},
                    RolloutRow{"UnknownGrowth", "2026-03-01|28|x", Holding::kSometimes},
                    RolloutRow{"NegativeDays", "2026-03-01|-1|linear", Holding::kSometimes},
                    RolloutRow{"OneDay", "2026-03-01|1|linear", Holding::kSometimes},
                    RolloutRow{"NoDays", "2026-03-01|0|linear", Holding::kNever},
                    RolloutRow{"UnreadableDays", "2026-03-01|x|linear", Holding::kNever},
                    RolloutRow{"UnreadableMonth", "2026-x-01|28|linear", Holding::kNever},
                    RolloutRow{"TwoNumbers", "2026-03|28|linear", Holding::kNever},
                    RolloutRow{"TwoPieces", "2026-03-01|28", Holding::kNever}),
    yox_test::RowName());

struct TermRow {
  const char* name;
  const char* a;
  const char* b;
  const char* relations;  // "contradict", "cover", "implies" and "implied"
};

class RelatedTerms : public testing::TestWithParam<TermRow> {};

TEST_P(RelatedTerms, AreFound) {
  const WString one = String::UTF8ToUTF16(GetParam().a);
  const WString other = String::UTF8ToUTF16(GetParam().b);
  const auto a = KeyValueTerm::Parse(one);
  const auto b = KeyValueTerm::Parse(other);
  std::string found;
  const auto add = [&](bool is, const char* name) {
    if (is) found += (found.empty() ? "" : " ") + std::string(name);
  };
  add(Contradict(a, b), "contradict");
  EXPECT_EQ(Contradict(b, a), Contradict(a, b));
  add(Cover(a, b), "cover");
  EXPECT_EQ(Cover(b, a), Cover(a, b));
  add(Implies(a, b), "implies");
  add(Implies(b, a), "implied");
  EXPECT_EQ(found, GetParam().relations);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RelatedTerms,
    testing::Values(TermRow{"Same", "A", "a", "implies implied"},
                    TermRow{"OtherKeys", "A", "B", ""}, TermRow{"KeysOfOtherForms", "A", "A*", ""},
                    TermRow{"ThereAndNot", "A", "!A", "contradict cover"},
                    TermRow{"NegatedTwice", "!A", "!A", "implies implied"},
                    TermRow{"NegatedOthers", "!A", "!B", ""},
                    TermRow{"ValueAndNotThere", "A|1", "!A", "contradict"},
                    TermRow{"NegatedKeyWithAndWithoutBar", "!A", "!A|1", ""},
                    TermRow{"NegatedKeysWithValues", "!A|1", "!A|2", "contradict"},
                    TermRow{"ValueAndThere", "A|1", "A", "implies"},
                    TermRow{"EmptyValue", "A|", "A", "implies implied"},
                    TermRow{"TextAndNumber", "A|1", "A|>0", ""},
                    TermRow{"TextAndVersion", "A|1.5", "A|>1.0", ""},
                    TermRow{"NumberAndVersion", "A|>1", "A|>1.0", ""},
                    TermRow{"Texts", "A|x", "A|y", "contradict"},
                    TermRow{"TextInPattern", "A|x1", "A|x*", "implies"},
                    TermRow{"PatternsThatMeet", "A|x*", "A|*y", ""},
                    TermRow{"VersionsInOrder", "A|>2.0", "A|>1.0", "implies"},
                    TermRow{"VersionsApart", "A|>2.0", "A|<2.0", "contradict"},
                    TermRow{"VersionsThatTouch", "A|>=2.0", "A|<=2.0", ""},
                    TermRow{"VersionsThatTouchButOne", "A|>=2.0", "A|<2.0", "contradict"},
                    TermRow{"VersionsThatCoverAreNotAlways", "A|>=2.0", "A|<3.0", ""},
                    TermRow{"NumbersInOrder", "A|<=1", "A|<2", "implies"},
                    TermRow{"NumbersTheSame", "A|<2", "A|<2", "implies implied"},
                    TermRow{"NumbersApart", "A|>2", "A|<2", "contradict"},
                    TermRow{"NumbersThatTouch", "A|>=2", "A|<=2", ""},
                    TermRow{"NumberThatCannotBeRead", "A|>x", "A|>2", "implies"},
                    TermRow{"NumberThatIsNever", "A|>=x", "B", "implies"},
                    TermRow{"ValueThatIsNever", "A|!*", "B", "implies"},
                    TermRow{"VersionThatIsNever", "A|<0.0", "B", "implies"},
                    TermRow{"KeyThatIsNever", "!*|x", "B", "implies"}),
    yox_test::RowName());

struct TermHoldingRow {
  const char* name;
  const char* term;
  Holding holding;
};

class TermHolding : public testing::TestWithParam<TermHoldingRow> {};

TEST_P(TermHolding, IsNeverForWhatNoPairHas) {
  const WString text = String::UTF8ToUTF16(GetParam().term);
  EXPECT_EQ(HoldingOf(KeyValueTerm::Parse(text)), GetParam().holding);
}

INSTANTIATE_TEST_SUITE_P(Rows, TermHolding,
                         testing::Values(TermHoldingRow{"Key", "A", Holding::kSometimes},
                                         TermHoldingRow{"NegatedKey", "!A", Holding::kSometimes},
                                         TermHoldingRow{"EveryKey", "*", Holding::kSometimes},
                                         TermHoldingRow{"NoKey", "!*|x", Holding::kNever},
                                         TermHoldingRow{"NotNoKey", "! !*", Holding::kAlways},
                                         TermHoldingRow{"Value", "A|x", Holding::kSometimes},
                                         TermHoldingRow{"NoValue", "A|!*", Holding::kNever},
                                         TermHoldingRow{"Version", "A|>1.0", Holding::kSometimes},
                                         TermHoldingRow{"NoVersion", "A|<0.0", Holding::kNever},
                                         TermHoldingRow{"Number", "A|<0", Holding::kSometimes},
                                         TermHoldingRow{"NoNumber", "A|<x", Holding::kNever}),
                         yox_test::RowName());

TEST(Effort, IsSpentOnceForEachStep) {
  Effort effort(2);
  EXPECT_FALSE(effort.spent());
  EXPECT_TRUE(effort.Spend());
  EXPECT_FALSE(effort.spent());
  EXPECT_TRUE(effort.Spend());
  EXPECT_TRUE(effort.spent());
  EXPECT_FALSE(effort.Spend());
  EXPECT_TRUE(effort.spent());
}

}  // namespace
}  // namespace yox::decision
