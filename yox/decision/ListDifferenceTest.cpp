#include <gtest/gtest.h>

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
