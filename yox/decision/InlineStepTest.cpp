#include <gtest/gtest.h>

#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "yox/base/FoldedText.h"
#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FactsRecord.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/TextArena.h"

#include "tests/support/Encodings.h"

namespace yox::decision {
namespace {

using yox_test::Wide;

std::string Draw(std::mt19937& random, const std::vector<std::string>& texts) {
  return texts[std::uniform_int_distribution<std::size_t>(0, texts.size() - 1)(random)];
}

// What a filter of one criterion asks for.
const std::vector<std::string> kPatterns = {
    "abc",   "ABC*",  "*c",     "*b*",     "!abc",  "!a*",      "!*bc",     "*",
    "",      "a*b",   "abcdef", "abcdef*", "*cdef", "*bcdefg*", "abc,xyz",  "x,y,abcdef",
    "x,a*",  "!",     "!*",     "  abc ",  "ab",    "abcd*",    "*abcdefg", "straße",
    "ABCDE", "*cde*", "!*cde*", "a",       "a,b,c", "x,,y",     "ab c",     "abcdefghi"};
const std::vector<std::string> kTexts = {
    "",    " ",      "a",       "abc",      "ABC",       " abc ",    "abcdef", "ABCDEFG",
    "xyz", "abcdeX", "abcdefg", "aabcdefg", "abcdefghi", "STRASSE",  "straße", "STRAßE",
    "b",   "ab",     "bc",      "abcd",     "abcde",     "cdefghij", "ab c",   "\u212Aabc"};
const std::vector<std::string> kVersions = {"1.2",        "1.2.3", " 1.2.3 ", "1.2.3.4",
                                            "10.0.19045", "text",  "",        "2147483648.1",
                                            "1.02.3",     "0.0"};
const std::vector<std::string> kOperators = {"", "!", ">=", ">", "<=", "<"};
const std::vector<std::string> kNames = {"name", "NAME",  " name ", "other",
                                         "n*",   "third", "straße"};

Filter DrawFilter(std::mt19937& random) {
  Filter filter;
  for (const FilterField field :
       {FilterField::country, FilterField::model, FilterField::sku, FilterField::enclosure}) {
    if (random() % 3 == 0) filter.Set(field, Wide(Draw(random, kPatterns)));
  }
  for (const FilterField field :
       {FilterField::os_version, FilterField::version, FilterField::target_version}) {
    if (random() % 3 == 0) {
      filter.Set(field, Wide(Draw(random, kOperators) + Draw(random, kVersions)));
    }
  }
  if (random() % 2 == 0) {
    std::string terms;
    for (auto left = random() % 4 + 1; left != 0; --left) {
      terms += Draw(random, kNames);
      if (random() % 4 != 0) terms += "|" + Draw(random, {"abc", "ABCDEF", "a*", ">=1.2.3", ">1"});
      if (left != 1) terms += ",";
    }
    filter.set_tag(Wide(terms));
  }
  return filter;
}

Pairs DrawPairs(std::mt19937& random) {
  Pairs pairs;
  for (auto left = random() % 5; left != 0; --left) {
    pairs.emplace_back(Wide(Draw(random, kNames)), Wide(Draw(random, kTexts)));
  }
  return pairs;
}

Given<WString> DrawGiven(std::mt19937& random, const std::vector<std::string>& texts) {
  if (random() % 8 == 0) return {};
  if (random() % 8 == 0) return {Knowledge::kMissing, {}};
  return Given<WString>::Known(Wide(Draw(random, texts)));
}

// The same facts, with texts that are neither folded nor parsed beforehand.
class PlainFacts final : public QuestionFacts {
 public:
  PlainFacts(const FactsRecord& record, const PreparedDevice& device, const Question& question)
      : QuestionFacts(question, record.time_zone), record_(record), prepared_(device, question) {}

 private:
  TextFact FetchText(FilterField field) override {
    const Given<WString>& given = record_.text(field);
    return TextFact::Of(given.value, given.knowledge);
  }
  VersionFact FetchDeviceVersion(FilterField field) override {
    const Given<WString>& given = record_.text(field);
    return {given.knowledge, VersionText(given.value)};
  }
  PairsFact FetchTags() override {
    PairsFact fact = prepared_.Tags();
    fact.prepared = nullptr;
    return fact;
  }

  const FactsRecord& record_;
  PreparedFacts prepared_;
};

// Evaluates every step in full.
Truth InFull(const CompiledList& list, DeviceFacts& facts) {
  Truth truth = Truth::kTrue;
  const Evaluation evaluation{list, facts};
  for (const auto& step : list.Steps(list.programs().front())) {
    const Truth result = step.evaluate(evaluation, step);
    if (result == Truth::kFalse) return result;
    if (result == Truth::kUnknown) truth = result;
  }
  return truth;
}

TEST(InlineStepTest, DecidesAsTheWholeEvaluationDoes) {
  std::mt19937 random(16);
  int matched = 0;
  for (int i = 0; i < 20000; ++i) {
    const CompiledList list({DrawFilter(random)});
    FactsRecord record;
    for (const FilterField field :
         {FilterField::country, FilterField::model, FilterField::sku, FilterField::enclosure}) {
      record.text(field) = DrawGiven(random, kTexts);
    }
    record.text(FilterField::os_version) = DrawGiven(random, kVersions);
    record.text(FilterField::version) = DrawGiven(random, kVersions);
    if (random() % 8 != 0) record.tags = DrawPairs(random);
    Question question;
    if (random() % 2 == 0) question.target_version = Wide(Draw(random, kVersions));
    if (random() % 3 == 0) question.extra_tags = DrawPairs(random);

    const PreparedDevice device(record);
    PreparedFacts full(device, question);
    const Truth expected = InFull(list, full);
    matched += expected == Truth::kTrue;
    PreparedFacts prepared(device, question);
    PlainFacts plain(record, device, question);
    const auto what = [&] {
      std::string text = "round " + std::to_string(i);
      for (const auto& step : list.Steps(list.programs().front())) {
        text +=
            "; " + std::string(CriterionOf(step).name()) + " " + String::UTF16ToUTF8(step.required);
      }
      return text;
    };
    EXPECT_EQ(Decide(list, prepared).applies, expected) << what();
    EXPECT_EQ(Decide(list, plain).applies, expected) << what();
  }
  EXPECT_GT(matched, 500);
}

TEST(InlineStepTest, ATagOfTheCallerIsComparedByItsFirstValue) {
  FactsRecord record;
  record.tags = Pairs();
  const PreparedDevice device(record);
  Question question;
  question.extra_tags = {{"other"_w, "abd"_w}, {" Name"_w, "Abc "_w}, {"name"_w, "abd"_w}};
  const auto decide = [&](WStringView terms) {
    Filter filter;
    filter.set_tag(WString(terms));
    PreparedFacts facts(device, question);
    return Decide(CompiledList({filter}), facts).applies;
  };
  EXPECT_EQ(decide("name|abc"_wv), Truth::kTrue);
  EXPECT_EQ(decide("NAME|a*"_wv), Truth::kTrue);
  EXPECT_EQ(decide("name|abc,other|abd"_wv), Truth::kTrue);
  EXPECT_EQ(decide("name|abd"_wv), Truth::kFalse);
  EXPECT_EQ(decide("name|name"_wv), Truth::kFalse);
  EXPECT_EQ(decide("third|abc"_wv), Truth::kFalse);
}

TEST(InlineStepTest, EveryKindIsCompiled) {
  using enum InlineStep::Kind;
  const auto kind = [](FilterField field, WStringView text) {
    Filter filter;
    filter.Set(field, WString(text));
    const CompiledList list({filter});
    return list.inline_steps()->kind;
  };
  EXPECT_EQ(kind(FilterField::country, "de"_wv), kText);
  EXPECT_EQ(kind(FilterField::country, "!de"_wv), kText);
  EXPECT_EQ(kind(FilterField::country, "de,at"_wv), kTexts);
  EXPECT_EQ(kind(FilterField::country, "d*"_wv), kStart);
  EXPECT_EQ(kind(FilterField::country, "*e"_wv), kEnd);
  EXPECT_EQ(kind(FilterField::country, "*d*"_wv), kMiddle);
  EXPECT_EQ(kind(FilterField::country, "de,a*"_wv), kPatterns);
  EXPECT_EQ(kind(FilterField::device_subscription, "de"_wv), kInFull);
  EXPECT_EQ(kind(FilterField::version, ">=1.2"_wv), kVersion);
  EXPECT_EQ(kind(FilterField::version, "1.2"_wv), kInFull);
  EXPECT_EQ(kind(FilterField::tag, "a|b,c|d"_wv), kTag);
  EXPECT_EQ(kind(FilterField::tag, "a|b*"_wv), kTagMatch);
  EXPECT_EQ(kind(FilterField::tag, "a|b,!c"_wv), kInFull);
  EXPECT_EQ(kind(FilterField::installed_items, "a|b"_wv), kInFull);
}

// The folded pattern for a name or a value of a tag.
TextPattern Pattern(const WString& text, TextArena& arena) {
  TextPattern pattern = TextPattern::Parse(text);
  pattern.text = arena.KeepFolded(pattern.text);
  pattern.fingerprint = Fingerprint(pattern.text);
  return pattern;
}

TEST(FindFirstTest, FindsWhatALookAtEachPairFinds) {
  std::mt19937 random(11);
  const std::vector<std::string> names = {"name",        "NAME",   " name ", "nam",
                                          "names",       "",       "straße", "STRASSE",
                                          "\u212Aelvin", "kelvin", "\tname", "other"};
  std::vector<std::string> patterns = names;
  patterns.insert(patterns.end(), {"n*", "*e", "*am*", "!name", "*", "n*e"});
  int found_at_last = 0;
  for (int i = 0; i < 20000; ++i) {
    Pairs pairs;
    for (auto left = random() % 14; left != 0; --left) {
      pairs.emplace_back(Wide(Draw(random, names)), Wide(std::to_string(left)));
    }
    TextArena arena;
    const WString text = Wide(Draw(random, patterns));
    const auto expected = FindInPairs{pairs}(TextPattern::Parse(text));
    const auto* const found = FindFirst(pairs, Pattern(text, arena));
    ASSERT_EQ(found != nullptr, expected.has_value()) << String::UTF16ToUTF8(text);
    if (found == nullptr) continue;
    EXPECT_EQ(WStringView(found->value()).data(), expected->value.data())
        << String::UTF16ToUTF8(text);
    found_at_last += found == &pairs.back() ? 1 : 0;
  }
  EXPECT_GT(found_at_last, 500);
}

TEST(FindFirstTest, APairThatHasBeenMovedFromIsNotFound) {
  Pairs pairs = {{"a long name of a tag"_w, "1"_w}, {"a long name of a tag"_w, "2"_w}};
  const auto kept = std::move(pairs.front());
  TextArena arena;
  EXPECT_EQ(FindFirst(pairs, Pattern("a long name of a tag"_w, arena)), &pairs.back());
}

// Returns of how many pairs that are not there the fingerprints do not say so.
int ExpectAllFound(const Pairs& pairs, const std::vector<WString>& absent) {
  int wrong_guesses = 0;
  TextArena arena;
  const PreparedPairs prepared(pairs, arena);
  const auto expect = [&](const WString& name, const WString& value) {
    const TextPattern key = Pattern(name, arena);
    const auto first = FirstOf(pairs, key);
    const auto found = prepared.First(key, NoPairs());
    ASSERT_EQ(found.has_value(), first.has_value()) << String::UTF16ToUTF8(name);
    if (first) {
      EXPECT_EQ(found->value, first->value) << String::UTF16ToUTF8(name);
    }
    const PreparedPairs::Folded* const named = prepared.FirstNamed(key);
    ASSERT_EQ(named != nullptr, first.has_value()) << String::UTF16ToUTF8(name);
    const TextPattern text = Pattern(value, arena);
    const bool may_be = prepared.FirstMayBe(key.fingerprint, text.fingerprint);
    if (first && text.Is(first->value)) {
      EXPECT_TRUE(may_be) << String::UTF16ToUTF8(name);
      EXPECT_EQ(named->name(), key.text) << String::UTF16ToUTF8(name);
      EXPECT_EQ(named->value(), text.text) << String::UTF16ToUTF8(name);
    } else {
      wrong_guesses += may_be ? 1 : 0;
    }
  };
  for (const auto& pair : pairs) {
    expect(WString(String::Trimmed(pair.key())), WString(String::Trimmed(pair.value())));
    expect(WString(String::Trimmed(pair.key())), "another"_w);
  }
  for (const WString& name : absent) expect(name, "1"_w);
  return wrong_guesses;
}

TEST(PreparedPairsTest, AnyNumberOfPairsIsSearchedAlike) {
  for (const int count : {0, 1, 15, 16, 17, 63, 64, 65, 200}) {
    Pairs pairs;
    for (int i = 0; i < count; ++i) {
      pairs.emplace_back(Wide(" Name " + std::to_string(i)), Wide(std::to_string(i)));
    }
    EXPECT_EQ(ExpectAllFound(pairs, {"name x"_w, "name"_w, "x"_w}), 0) << count;
  }
}

TEST(PreparedPairsTest, TheFirstOfEqualNamesCounts) {
  EXPECT_EQ(ExpectAllFound({{"a"_w, "1"_w}, {"b"_w, "2"_w}, {"A "_w, "3"_w}}, {"c"_w}), 0);
}

TEST(PreparedPairsTest, NamesThatLookAlikeAreToldApart) {
  // Two names that begin at one slot, with fingerprints that are the same in the part that is
  // compared first.
  std::unordered_map<std::uint64_t, WString> names;
  WString one;
  WString other;
  for (int i = 0; one.empty(); ++i) {
    other = Wide("name " + std::to_string(i));
    const auto [known, is_new] = names.try_emplace(Fingerprint(other) >> 32 & 0xFFFE'000F, other);
    if (!is_new) one = known->second;
  }
  EXPECT_GT(ExpectAllFound({{one, "1"_w}, {other, "2"_w}}, {}), 0);
  EXPECT_GT(ExpectAllFound({{other, "1"_w}, {"b"_w, "2"_w}, {one, "2"_w}}, {}), 0);
  EXPECT_EQ(ExpectAllFound({{one, "1"_w}, {"b"_w, "2"_w}}, {other}), 1);
}

}  // namespace
}  // namespace yox::decision
