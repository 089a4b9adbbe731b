#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "yox/decision/Filter.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/ListDifference.h"
#include "yox/decision/PreparedDevice.h"

namespace yox::decision {
namespace {

using Known = Given<WString>;
using Row = ListComparison::Row;

constexpr std::nullopt_t kNone = std::nullopt;

ListComparison Compared(const char* before, const char* after) {
  return {ReadFilterDocument(before).snapshot(), ReadFilterDocument(after).snapshot()};
}

struct Device {
  const char* id;
  const char* country;  // null: unknown
  const char* model = "A";
};

void Add(ListDifference& difference, const ListComparison& lists, const Device& device) {
  FactsRecord record;
  if (device.country != nullptr) {
    record.text(FilterField::country) = Known::Known(YOX::String::UTF8ToUTF16(device.country));
  }
  record.text(FilterField::model) = Known::Known(YOX::String::UTF8ToUTF16(device.model));
  const PreparedDevice prepared(record);
  const Question question;
  PreparedFacts facts(prepared, question);
  difference.Add(lists, facts, device.id);
}

std::string DifferenceOf(const char* before, const char* after,
                         const std::vector<Device>& devices) {
  const ListComparison lists = Compared(before, after);
  ListDifference difference;
  for (const Device& device : devices) Add(difference, lists, device);
  return difference.ToJsonText(JsonStyle::kReadableLine);
}

// The part of the document after the counts of single verdicts.
std::string GroupsOf(const char* before, const char* after, const std::vector<Device>& devices) {
  const std::string text = DifferenceOf(before, after, devices);
  return text.substr(0, text.find(",\"devices\""));
}

TEST(ListComparisonTest, PairsEqualFiltersAndThoseBetweenThem) {
  const auto rows = [](const char* before, const char* after) {
    return Compared(before, after).rows();
  };
  const char* const kAbc = R"([{"country": "A"}, {"country": "B"}, {"country": "C"}])";
  EXPECT_EQ(rows(kAbc, kAbc), (std::vector<Row>{{0, 0}, {1, 1}, {2, 2}}));
  EXPECT_EQ(rows(kAbc, R"([{"country": "A"}, {"country": "X"}, {"country": "C"}])"),
            (std::vector<Row>{{0, 0}, {1, 1}, {2, 2}}));
  EXPECT_EQ(rows(kAbc, R"([{"country": "X"}, {"country": "A"}, {"country": "B"},
                           {"country": "C"}])"),
            (std::vector<Row>{{kNone, 0}, {0, 1}, {1, 2}, {2, 3}}));
  EXPECT_EQ(rows(kAbc, R"([{"country": "A"}, {"country": "C"}])"),
            (std::vector<Row>{{0, 0}, {1, kNone}, {2, 1}}));
  EXPECT_EQ(rows(kAbc, R"([{"country": "X"}, {"country": "B"}, {"country": "Y"},
                           {"country": "Z"}])"),
            (std::vector<Row>{{0, 0}, {1, 1}, {2, 2}, {kNone, 3}}));
  EXPECT_EQ(rows("[]", kAbc), (std::vector<Row>{{kNone, 0}, {kNone, 1}, {kNone, 2}}));
  EXPECT_EQ(rows(kAbc, "[]"), (std::vector<Row>{{0, kNone}, {1, kNone}, {2, kNone}}));
}

// The length of a longest common subsequence, by trying all.
std::size_t LongestCommon(const std::string& a, const std::string& b) {
  if (a.empty() || b.empty()) return 0;
  if (a[0] == b[0]) return 1 + LongestCommon(a.substr(1), b.substr(1));
  return std::max(LongestCommon(a.substr(1), b), LongestCommon(a, b.substr(1)));
}

// Lists of filters for the letters of two words; of all words of at most three of three letters.
TEST(ListComparisonTest, PairsAsManyEqualFiltersAsThereAreInOrder) {
  std::vector<std::string> words = {""};
  for (std::size_t i = 0; words[i].size() < 3; ++i) {
    for (const char letter : {'A', 'B', 'C'}) words.push_back(words[i] + letter);
  }
  const auto list_of = [](const std::string& word) {
    ApplicabilityFilter::List filters(word.size());
    for (std::size_t i = 0; i < word.size(); ++i) {
      filters[i].set_country(WString(1, static_cast<WChar>(word[i])));
    }
    return ApplicabilityFilter(filters).snapshot();
  };
  for (const std::string& before : words) {
    for (const std::string& after : words) {
      std::string shown[2];
      std::size_t equal = 0;
      std::size_t alone = 0;
      bool was_alone[2] = {};
      const ListComparison lists(list_of(before), list_of(after));
      for (const Row& row : lists.rows()) {
        if (row.before) shown[0] += before[*row.before];
        if (row.after) shown[1] += after[*row.after];
        const bool is_pair = row.before && row.after;
        const bool is_equal = is_pair && before[*row.before] == after[*row.after];
        equal += is_equal ? 1 : 0;
        alone += is_pair ? 0 : 1;
        if (is_equal) was_alone[0] = was_alone[1] = false;
        // Between two pairs of equal filters only one side has filters alone, after those in pairs.
        EXPECT_FALSE(is_pair && !is_equal && (was_alone[0] || was_alone[1]));
        if (!is_pair) was_alone[row.before ? 0 : 1] = true;
        EXPECT_FALSE(was_alone[0] && was_alone[1]);
      }
      ASSERT_EQ(shown[0], before);
      ASSERT_EQ(shown[1], after);
      ASSERT_EQ(equal, LongestCommon(before, after)) << before << " " << after;
      ASSERT_GE(alone + 0U, before.size() > after.size() ? before.size() - after.size()
                                                         : after.size() - before.size());
    }
  }
}

TEST(ListComparisonTest, FiltersThatDifferInAnyFieldAreNotEqual) {
  for (const auto& name : kFilterFieldNames) {
    Filter changed;
    changed.Set(static_cast<FilterField>(&name - std::begin(kFilterFieldNames)), "true"_w);
    const auto before = ApplicabilityFilter({Filter(), Filter()}).snapshot();
    const auto after = ApplicabilityFilter({changed, Filter(), Filter()}).snapshot();
    EXPECT_EQ(ListComparison(before, after).rows(), (std::vector<Row>{{kNone, 0}, {0, 1}, {1, 2}}))
        << name;
  }
}

// Finding equal filters takes time and memory by the product of the sizes.
TEST(ListComparisonTest, PairsLongDifferentListsInTheirOrder) {
  constexpr std::size_t kFilters = 2001;
  std::string before;
  std::string after;
  for (std::size_t i = 0; i < kFilters; ++i) {
    const std::string number = std::to_string(i);
    before += R"(,{"model": "before )" + number + "\"}";
    after += R"(,{"model": ")" + (i == 900 ? "before 1000" : "after " + number) + "\"}";
  }
  before.front() = after.front() = '[';
  const ListComparison lists = Compared((before + "]").c_str(), (after + "]").c_str());
  ASSERT_EQ(lists.rows().size(), kFilters);
  for (std::size_t i = 0; i < kFilters; ++i) EXPECT_EQ(lists.rows()[i], (Row{i, i}));
}

TEST(ListDifferenceTest, TheLargestGroupsComeFirst) {
  const ListComparison lists = Compared(R"([{"country": "A,B,C"}])",
                                        R"([{"country": "D"}, {"model": "M"}, {"country": "B"}])");
  ListDifference difference;
  for (const Device& device :
       {Device{"1", "A"}, Device{"2", "D"}, Device{"3", "D", "B"}, Device{"4", "E", "M"},
        Device{"5", "F", "M"}, Device{"6", "G", "M"}}) {
    Add(difference, lists, device);
  }
  std::string sizes;
  for (const auto* const group : difference.LargestGroups()) {
    sizes += std::to_string(group->second.gain) + "-" + std::to_string(group->second.lose) + " ";
  }
  EXPECT_EQ(sizes, "3-0 2-0 0-1 ");
}

TEST(ListDifferenceTest, CountsWhatIsUndeterminedInOneVersionOrBoth) {
  const ListComparison lists =
      Compared(R"([{"country": "US"}, {"model": "A"}])", R"([{"model": "B"}, {"country": "DE"}])");
  ListDifference difference;
  for (const Device& device : {Device{"1", nullptr}, Device{"2", nullptr, "B"},
                               Device{"3", nullptr, "C"}, Device{"4", "US"}, Device{"5", "FR"}}) {
    Add(difference, lists, device);
  }
  difference.AddSame(Truth::kUnknown, 3);
  difference.AddSame(Truth::kFalse, 20);
  difference.AddSame(Truth::kTrue, 100);
  const std::string text = difference.ToJsonText(JsonStyle::kReadableLine);
  EXPECT_EQ(text.substr(text.find("\"devices\"")),
            R"("devices":128,"gain":0,"lose":2,"same":120,"undetermined":6,)"
            R"("undetermined_after":1,"undetermined_before":1})"
            "\n");
}

TEST(ListDifferenceTest, EqualListsChangeNoDevice) {
  const char* const kList = R"([{"country": "US"}, {"default": "false"}])";
  const ListComparison lists = Compared(kList, kList);
  ListDifference difference;
  for (const Device& device : {Device{"1", "US"}, Device{"2", "DE"}, Device{"3", nullptr}}) {
    Add(difference, lists, device);
  }
  EXPECT_FALSE(difference.HasChanges());
  EXPECT_EQ(difference.same(), 2U);
  EXPECT_EQ(difference.undetermined(), 1U);
}

TEST(ListDifferenceTest, NamesTheCriterionThatExcludedBefore) {
  EXPECT_EQ(GroupsOf(R"([{"country": "US", "model": "A"}, {"default": "false"}])",
                     R"([{"country": "US,DE", "model": "A"}, {"default": "false"}])",
                     {{"1", "US"}, {"2", "DE"}, {"3", "DE", "B"}, {"4", "DE"}}),
            R"({"by":[{"examples":["2","4"],"from":{"criterion":"country","filter":0},"gain":2,)"
            R"("lose":0,"to":{"filter":0}}])");
}

TEST(ListDifferenceTest, NamesTheCriterionThatExcludesNow) {
  EXPECT_EQ(GroupsOf(R"([{"country": "US"}])", R"([{"country": "US", "model": "B"}])",
                     {{"1", "US"}, {"2", "DE"}}),
            R"({"by":[{"examples":["1"],"from":{"filter":0},"gain":0,"lose":1,)"
            R"("to":{"criterion":"model","filter":0}}])");
}

// The filter that every device now meets first is new; the places are by each list's own indices.
TEST(ListDifferenceTest, NamesAFilterThatWasAdded) {
  EXPECT_EQ(GroupsOf(R"([{"country": "US"}])",
                     R"([{"model": "A", "value": "false"}, {"country": "US"}])", {{"1", "US"}}),
            R"({"by":[{"examples":["1"],"from":{"filter":0},"gain":0,"lose":1,)"
            R"("to":{"filter":0}}])");
}

TEST(ListDifferenceTest, NamesNoFilterWhereTheListEnds) {
  EXPECT_EQ(
      GroupsOf(R"([{"country": "DE"}])", R"([{"country": "DE"}, {"model": "A"}])", {{"1", "US"}}),
      R"({"by":[{"examples":["1"],"from":{"filter":null},"gain":1,"lose":0,)"
      R"("to":{"filter":1}}])");
}

TEST(ListDifferenceTest, BecomingUndeterminedIsAChange) {
  const ListComparison lists = Compared(R"([{"model": "A"}])", R"([{"country": "US"}])");
  ListDifference difference;
  Add(difference, lists, {"1", nullptr});
  EXPECT_TRUE(difference.HasChanges());
  EXPECT_EQ(difference.ToJsonText(JsonStyle::kReadableLine),
            R"({"by":[],"devices":1,"gain":0,"lose":0,"same":0,"undetermined":1,)"
            R"("undetermined_after":1,"undetermined_before":0})"
            "\n");
}

TEST(ListDifferenceTest, MergedPartsEqualTheWholeWithItsFirstExamples) {
  const ListComparison lists = Compared(R"([{"country": "US"}])", R"([{"country": "DE"}])");
  ListDifference whole;
  ListDifference merged;
  ListDifference part;
  std::vector<std::string> ids;
  for (int i = 0; i < 40; ++i) ids.push_back(std::to_string(i));
  for (std::size_t i = 0; i < ids.size(); ++i) {
    const Device device{ids[i].c_str(), i % 3 == 0 ? "DE" : i % 3 == 1 ? "US" : nullptr};
    Add(whole, lists, device);
    Add(part, lists, device);
    if (i % 7 == 0) {
      merged.Merge(part);
      part = {};
    }
  }
  merged.Merge(part);
  EXPECT_EQ(merged.ToJsonText(), whole.ToJsonText());
  EXPECT_EQ(whole.gain(), 14U);
  EXPECT_EQ(whole.lose(), 13U);
  EXPECT_EQ(whole.groups().begin()->second.examples.size(), ListDifference::kExamples);
}

}  // namespace
}  // namespace yox::decision
