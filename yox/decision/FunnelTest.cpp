#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "yox/decision/Explanation.h"
#include "yox/decision/Filter.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/Funnel.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/TestMoments.h"

#include "tests/support/Random.h"

namespace yox::decision {
namespace {

using Known = Given<WString>;
using yox_test::Random;

const Question kQuestion{.now = yox_test::kMorning};

FactsRecord DeviceOf(WStringView country, WStringView os_version) {
  FactsRecord record;
  record.text(FilterField::country) = Known::Known(WString(country));
  record.text(FilterField::os_version) = Known::Known(WString(os_version));
  return record;
}

Verdict Add(Funnel& funnel, const ApplicabilityFilter& list, const FactsRecord& record) {
  const PreparedDevice device(record);
  PreparedFacts facts(device, kQuestion);
  return funnel.Add(*list.snapshot(), facts);
}

FactsRecord RandomDevice(Random& random) {
  constexpr WStringView kCountries[] = {"DE"_wv, "US"_wv, "CA"_wv};
  constexpr WStringView kVersions[] = {"1.0"_wv, "2.0"_wv, "3.0"_wv};
  constexpr WStringView kMakers[] = {"Contoso"_wv, "Fabrikam"_wv};
  FactsRecord record;
  const auto give = [&](FilterField field, const auto& choices) {
    if (random.Below(4) == 0) return;  // unknown
    record.text(field) = Known::Known(WString(random.Pick(choices)));
  };
  give(FilterField::country, kCountries);
  give(FilterField::os_version, kVersions);
  give(FilterField::mfr, kMakers);
  if (random.Below(3) != 0) {
    record.tags.emplace();
    if (random.Below(2) == 0) record.tags->emplace_back("Ring"_w, "1"_w);
  }
  return record;
}

ApplicabilityFilter RandomList(Random& random) {
  constexpr WStringView kCountries[] = {"DE"_wv, "US,CA"_wv, "!DE"_wv};
  constexpr WStringView kVersions[] = {">1.0"_wv, "<3.0"_wv, "2.0"_wv};
  constexpr WStringView kMakers[] = {"Contoso"_wv, "F*"_wv};
  constexpr WStringView kTags[] = {"Ring"_wv, "!Ring"_wv, "Ring|1"_wv};
  ApplicabilityFilter::List filters(1 + random.Below(4));
  for (Filter& filter : filters) {
    const auto set = [&](FilterField field, const auto& choices) {
      if (random.Below(2) == 0) filter.Set(field, WString(random.Pick(choices)));
    };
    set(FilterField::country, kCountries);
    set(FilterField::os_version, kVersions);
    set(FilterField::mfr, kMakers);
    set(FilterField::tag, kTags);
    if (random.Below(8) == 0) filter.set_default("true"_w);
    filter.set_value(random.Below(2) == 0 ? "true"_w : "false"_w);
  }
  return ApplicabilityFilter(filters);
}

// Counts the explanation of each device, which evaluates every criterion of every filter.
class SlowCount {
 public:
  explicit SlowCount(std::size_t size) : filters(size) {}

  void Add(const ApplicabilityFilter& list, const FactsRecord& record) {
    const PreparedDevice device(record);
    PreparedFacts facts(device, kQuestion);
    const Explanation explanation = Explain(*list.snapshot(), facts);
    for (std::size_t i = 0; i < explanation.filters.size(); ++i) {
      Count(filters[i], explanation.filters[i]);
    }
    if (explanation.decided_by) ++filters[*explanation.decided_by].decided;
    if (explanation.is_undetermined) {
      ++undetermined;
    } else {
      ++(explanation.applies ? applies : does_not_apply);
    }
    for (const std::string& fact : explanation.needs) ++needs[fact];
  }

  std::uint64_t applies = 0, does_not_apply = 0, undetermined = 0;
  std::vector<Funnel::FilterCounts> filters;
  std::map<std::string, std::uint64_t> needs;

 private:
  static void Count(Funnel::FilterCounts& counts, const ExplainedFilter& filter) {
    if (filter.outcome == ExplainedFilter::Outcome::kNotReached) return;
    ++counts.reached;
    if (filter.outcome != ExplainedFilter::Outcome::kNotMatched) return;
    std::vector<std::size_t> failed;
    std::size_t matched = 0;
    for (const ExplainedCriterion& criterion : filter.criteria) {
      if (criterion.result == CriterionResult::kHeld) ++matched;
      if (criterion.result == CriterionResult::kDiffers ||
          criterion.result == CriterionResult::kMissing) {
        failed.push_back(static_cast<std::size_t>(criterion.field));
      }
    }
    ++counts.criteria[failed.front()].first;
    if (matched + 1 == filter.criteria.size()) ++counts.criteria[failed.front()].only;
  }
};

void ExpectEqual(const Funnel& funnel, const SlowCount& slow) {
  EXPECT_EQ(funnel.applies(), slow.applies);
  EXPECT_EQ(funnel.does_not_apply(), slow.does_not_apply);
  EXPECT_EQ(funnel.undetermined(), slow.undetermined);
  EXPECT_EQ(funnel.needs(), slow.needs);
  ASSERT_EQ(funnel.filters().size(), slow.filters.size());
  for (std::size_t i = 0; i < slow.filters.size(); ++i) {
    const Funnel::FilterCounts& counts = funnel.filters()[i];
    EXPECT_EQ(counts.reached, slow.filters[i].reached) << i;
    EXPECT_EQ(counts.decided, slow.filters[i].decided) << i;
    for (std::size_t j = 0; j < kFilterFieldCount; ++j) {
      EXPECT_EQ(counts.criteria[j].first, slow.filters[i].criteria[j].first)
          << i << kFilterFieldNames[j];
      EXPECT_EQ(counts.criteria[j].only, slow.filters[i].criteria[j].only)
          << i << kFilterFieldNames[j];
    }
  }
}

TEST(FunnelTest, CountsAsTheExplanationsOfAllDevices) {
  Random random(17);
  std::uint64_t only = 0;
  std::uint64_t undetermined = 0;
  for (int i = 0; i < 100; ++i) {
    const ApplicabilityFilter list = RandomList(random);
    Funnel funnel;
    SlowCount slow(list.filters().size());
    for (int j = 0; j < 60; ++j) {
      const FactsRecord record = RandomDevice(random);
      Add(funnel, list, record);
      slow.Add(list, record);
    }
    ExpectEqual(funnel, slow);
    EXPECT_EQ(funnel.devices(), 60U);
    undetermined += slow.undetermined;
    for (const auto& filter : slow.filters) {
      for (const auto& counts : filter.criteria) only += counts.only;
    }
    if (HasFailure()) FAIL() << "list " << i;
  }
  EXPECT_GT(only, 500U);
  EXPECT_GT(undetermined, 500U);
}

TEST(FunnelTest, MergedPartsEqualTheWhole) {
  Random random(18);
  const ApplicabilityFilter list = RandomList(random);
  Funnel whole;
  Funnel parts[3];
  for (int i = 0; i < 300; ++i) {
    const FactsRecord record = RandomDevice(random);
    Add(whole, list, record);
    Add(parts[random.Below(3)], list, record);
  }
  Funnel merged;
  for (const Funnel& part : parts) merged.Merge(part);
  EXPECT_EQ(merged.ToBytes(), whole.ToBytes());
}

TEST(FunnelTest, WritesTheCountsAsJson) {
  const auto list = ReadFilterDocument(
      R"([{"country": "US,CA", "os_version": ">=10.0"}, {"tag": "Ring|1", "value": "false"}])");
  Funnel funnel;
  Add(funnel, list, DeviceOf("US"_wv, "10.0"_wv));
  Add(funnel, list, DeviceOf("US"_wv, "9.0"_wv));
  FactsRecord german = DeviceOf("DE"_wv, "9.0"_wv);
  german.tags.emplace();
  Add(funnel, list, german);
  FactsRecord unknown;
  unknown.tags.emplace();
  EXPECT_EQ(Add(funnel, list, unknown).needs, (std::vector<std::string>{"country", "os_version"}));
  EXPECT_EQ(funnel.ToJsonText(JsonStyle::kReadableLine),
            R"({"applies":1,"devices":4,"does_not_apply":2,"filters":[)"
            R"({"decided":1,"filter":0,"first_excluded_by":{"country":1,"os_version":1},)"
            R"("only_excluded_by":{"os_version":1},"reached":4},)"
            R"({"decided":0,"filter":1,"first_excluded_by":{"tag":2},"only_excluded_by":{"tag":2},)"
            R"("reached":3}],"needs":{"country":1,"os_version":1},"undetermined":1})"
            "\n");
}

TEST(FunnelTest, AnEmptyListAppliesToAll) {
  Funnel funnel;
  Add(funnel, ApplicabilityFilter(), DeviceOf("US"_wv, "1.0"_wv));
  EXPECT_EQ(funnel.applies(), 1U);
  EXPECT_TRUE(funnel.filters().empty());
}

TEST(FunnelTest, BytesReadBackAsTheyWere) {
  Random random(19);
  for (int i = 0; i < 20; ++i) {
    const ApplicabilityFilter list = RandomList(random);
    Funnel funnel;
    for (int j = 0; j < 200; ++j) Add(funnel, list, RandomDevice(random));
    const auto read = Funnel::FromBytes(funnel.ToBytes());
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->ToJsonText(), funnel.ToJsonText());
  }
  EXPECT_EQ(Funnel::FromBytes(Funnel().ToBytes())->devices(), 0U);
}

TEST(FunnelTest, BytesOfAnotherFormAreRefused) {
  Random random(20);
  Funnel funnel;
  const ApplicabilityFilter list = RandomList(random);
  for (int j = 0; j < 200; ++j) Add(funnel, list, RandomDevice(random));
  const std::string bytes = funnel.ToBytes();
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_FALSE(Funnel::FromBytes(bytes.substr(0, size)).has_value()) << size;
  }
  EXPECT_FALSE(Funnel::FromBytes(bytes + '\0').has_value());
  EXPECT_FALSE(Funnel::FromBytes("\2" + bytes.substr(1)).has_value());
  EXPECT_FALSE(Funnel::FromBytes(std::string("\1\0\0\0\xFF\xFF\xFF\xFF\x0F", 9)).has_value());
}

// The format, the three counts in LEB128, and no filters and needs.
TEST(FunnelTest, CountsOfEverySizeAreReadAndWritten) {
  const auto leb128 = [](std::uint64_t number) {
    std::string bytes;
    for (; number >= 0x80; number >>= 7) bytes += static_cast<char>(number | 0x80);
    return bytes + static_cast<char>(number);
  };
  for (unsigned bit = 0; bit < 64; ++bit) {
    for (const std::uint64_t number :
         {std::uint64_t{1} << bit, (std::uint64_t{1} << bit) - 1, ~std::uint64_t{0} >> bit}) {
      const std::string bytes =
          "\1" + leb128(number) + leb128(7) + leb128(0) + std::string(2, '\0');
      const auto read = Funnel::FromBytes(bytes);
      ASSERT_TRUE(read.has_value()) << number;
      EXPECT_EQ(read->applies(), number);
      EXPECT_EQ(read->does_not_apply(), 7U);
      EXPECT_EQ(read->undetermined(), 0U);
      EXPECT_EQ(read->ToBytes(), bytes);
    }
  }
  // One byte more than a number of 64 bits has.
  EXPECT_FALSE(Funnel::FromBytes("\1" + std::string(10, '\x80') + '\1' + std::string(4, '\0')));
  EXPECT_FALSE(Funnel::FromBytes(""));
}

TEST(FunnelTest, EveryCriterionHasItsCountsInTheBytes) {
  for (std::size_t i = 0; i < kFilterFieldCount; ++i) {
    const auto bytes = [&](std::uint64_t reached) {
      std::string present;
      std::uint64_t bits = std::uint64_t{1} << i;
      for (; bits >= 0x80; bits >>= 7) present += static_cast<char>(bits | 0x80);
      present += static_cast<char>(bits);
      // No device, one filter: reached, decided, the bits of its criteria, first and only; a need.
      return std::string("\1\0\0\0\1", 5) + static_cast<char>(reached) + '\2' + present +
             "\3\1\1\4need\5";
    };
    const auto read = Funnel::FromBytes(bytes(6));
    ASSERT_TRUE(read.has_value()) << kFilterFieldNames[i];
    ASSERT_EQ(read->filters().size(), 1U);
    EXPECT_EQ(read->filters()[0].reached, 6U);
    EXPECT_EQ(read->filters()[0].decided, 2U);
    for (std::size_t j = 0; j < kFilterFieldCount; ++j) {
      EXPECT_EQ(read->filters()[0].criteria[j].first, i == j ? 3U : 0U);
      EXPECT_EQ(read->filters()[0].criteria[j].only, i == j ? 1U : 0U);
    }
    EXPECT_EQ(read->needs(), (std::map<std::string, std::uint64_t>{{"need", 5}}));
    EXPECT_EQ(read->ToBytes(), bytes(6));
  }
}

TEST(FunnelTest, MergingIntoAnEmptyOrALargerOneKeepsAllCounts) {
  Random random(21);
  const ApplicabilityFilter list = RandomList(random);
  Funnel one;
  for (int i = 0; i < 50; ++i) Add(one, list, RandomDevice(random));
  Funnel twice = one;
  twice.Merge(one);
  Funnel from_empty;
  from_empty.Merge(one);
  EXPECT_EQ(from_empty.ToBytes(), one.ToBytes());
  from_empty.Merge(Funnel());
  EXPECT_EQ(from_empty.ToBytes(), one.ToBytes());
  EXPECT_EQ(twice.devices(), 100U);
  for (std::size_t i = 0; i < one.filters().size(); ++i) {
    EXPECT_EQ(twice.filters()[i].reached, 2 * one.filters()[i].reached);
    EXPECT_EQ(twice.filters()[i].decided, 2 * one.filters()[i].decided);
  }
}

TEST(FunnelTest, BytesOfACriterionThatThereIsNotAreRefused) {
  // The format, no device, one filter, the bits of its criteria, and no needs.
  const auto counts = [](std::uint64_t criteria) {
    std::string bytes("\1\0\0\0\1\0\0", 7);
    for (; criteria >= 0x80; criteria >>= 7) bytes += static_cast<char>(criteria | 0x80);
    return bytes + static_cast<char>(criteria) + '\0';
  };
  EXPECT_TRUE(Funnel::FromBytes(counts(0)).has_value());
  EXPECT_FALSE(Funnel::FromBytes(counts(std::uint64_t{1} << kFilterFieldCount)).has_value());
}

}  // namespace
}  // namespace yox::decision
