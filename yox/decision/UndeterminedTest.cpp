#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "yox/decision/Decide.h"
#include "yox/decision/Filter.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/TestMoments.h"

#include "tests/support/Random.h"

// What unknown facts do to a verdict, against brute force: every device that agrees with the known
// facts is tried.
namespace yox::decision {
namespace {

using yox_test::kMorning;

using Known = Given<WString>;
using yox_test::Random;

// A fact that is left unknown, or takes one of a few values. Number 0 leaves it unknown.
struct Domain {
  const char* name;  // how what `needs` calls it begins
  int values;
  void (*give)(FactsRecord& record, int value);  // from 1 on
};

void GiveCountry(FactsRecord& record, int value) {
  Known& country = record.text(FilterField::country);
  country = Known::Missing();
  if (value > 1) country = Known::Known(WString(value == 2 ? "DE"_wv : "US"_wv));
}

void GiveSku(FactsRecord& record, int value) {
  Known& sku = record.text(FilterField::sku);
  sku = Known::Missing();
  if (value > 1) sku = Known::Known(WString(value == 2 ? ""_wv : "A-1"_wv));
}

void GiveOsVersion(FactsRecord& record, int value) {
  constexpr WStringView kVersions[] = {"1.0"_wv, "2.0"_wv, "new"_wv};
  record.text(FilterField::os_version) = Known::Known(WString(kVersions[value - 1]));
}

void GiveBucket(FactsRecord& record, int value) {
  record.rollout_bucket = Given<int>::Known(value == 1 ? 0 : kLastBucket);
}

void GiveTimeZone(FactsRecord& record, int value) {
  constexpr const char* kZones[] = {"-12:00", "UTC", "+13:00", "+14:00"};
  record.time_zone = TimeZone::Parse(kZones[value - 1]);
}

void GiveTags(FactsRecord& record, int value) {
  record.tags.emplace();
  if (value == 2) record.tags->emplace_back("Ring"_w, "1"_w);
  if (value == 3) {
    record.tags->emplace_back("Other"_w, "x"_w);
    record.tags->emplace_back("ring"_w, "x"_w);
  }
}

void GiveRegistry(FactsRecord& record, int value) {
  record.registry.push_back({"HKLM\\A"_w, "b"_w, {}});
  if (value > 1) record.registry.back().text = WString(value == 2 ? "1"_wv : ""_wv);
}

void GiveHardwareIds(FactsRecord& record, int value) {
  record.hardware_ids.emplace();
  if (value == 2) record.hardware_ids->push_back("PCI\\A"_w);
}

const std::vector<Domain>& Domains() {
  static const std::vector<Domain> domains = {
      {"country", 3, GiveCountry},      {"sku", 3, GiveSku},
      {"os_version", 3, GiveOsVersion}, {"serial_number", 2, GiveBucket},
      {"time_zone", 4, GiveTimeZone},   {"tags", 3, GiveTags},
      {"registry.", 3, GiveRegistry},   {"hardware_ids", 2, GiveHardwareIds},
  };
  return domains;
}

// Each field with what it may require, some of it decided without the fact.
struct FieldRow {
  FilterField field;
  std::size_t domain;
  std::vector<const char*> texts;
};

const std::vector<FieldRow>& FieldRows() {
  static const std::vector<FieldRow> rows = {
      {FilterField::country, 0, {"DE", "!DE", "*", "US,DE", "!*", "F*"}},
      {FilterField::sku, 1, {"A*", "!A-1", "B", "*", "!*"}},
      {FilterField::os_version, 2, {">1.0", "<=1.0", "new", "2.0", ">=0.0"}},
      {FilterField::date_function,
       3,
       {"2026-02-25|10|linear", "2026-01-01|20|linear", "2026-04-01|9|linear", "x"}},
      {FilterField::date_range,
       4,
       {"2026-03-01|*", "*|2026-03-01", "2026-03-01|2026-03-01", "*|*"}},
      {FilterField::tag, 5, {"Ring", "!Ring", "Ring|>0", "R*|x", "Ring|>x", "!Other,ring|x"}},
      {FilterField::registry, 6, {"HKLM\\A:b|", "HKLM/a:B|1", "HKLM\\A:b|!1", "HKXX\\A:b|"}},
      {FilterField::hardware_id, 7, {"pci*", "PCI/A", "!PCI\\A", "USB"}},
  };
  return rows;
}

using Choice = std::vector<int>;  // by domain; 0 is unknown

FactsRecord RecordOf(const Choice& choice) {
  FactsRecord record;
  for (std::size_t i = 0; i < choice.size(); ++i) {
    if (choice[i] != 0) Domains()[i].give(record, choice[i]);
  }
  return record;
}

Verdict DecideOn(const CompiledList& list, const Choice& choice) {
  const PreparedDevice device(RecordOf(choice));
  const Question question{kMorning};
  PreparedFacts facts(device, question);
  return Decide(list, facts);
}

// The truth of one criterion: unknown when the known facts leave both open.
Truth CriterionOn(const Filter& filter, FilterField field, const Choice& choice) {
  Filter alone;
  alone.Set(field, filter.View(field));
  return DecideOn(CompiledList({alone}), choice).applies;
}

// The list by the definition of the three values, over the criteria's own truths.
Truth ByDefinition(const std::vector<Filter>& filters, const Choice& choice) {
  bool may_apply = false;
  bool may_not_apply = filters.empty();
  const auto verdict = [&](bool last) {
    (last ? may_apply : may_not_apply) = true;
    return may_apply && may_not_apply ? Truth::kUnknown : TruthOf(may_apply);
  };
  for (const Filter& filter : filters) {
    if (filter.IsSet(FilterField::default_)) return verdict(filter.default_() == "true"_w);
    Truth all = Truth::kTrue;
    for (const FieldRow& row : FieldRows()) {
      if (!filter.IsSet(row.field)) continue;
      const Truth truth = CriterionOn(filter, row.field, choice);
      if (truth == Truth::kFalse || all == Truth::kTrue) all = truth;
      if (all == Truth::kFalse) break;
    }
    const bool value = filter.value() != "false"_w;
    if (all == Truth::kTrue) return verdict(value);
    if (all == Truth::kUnknown) (value ? may_apply : may_not_apply) = true;
  }
  return verdict(false);
}

template <class Visit>
void ForEachCompletion(Choice& choice, Visit visit, std::size_t from = 0) {
  const auto unknown =
      std::find(choice.begin() + static_cast<std::ptrdiff_t>(from), choice.end(), 0);
  if (unknown == choice.end()) return visit(choice);
  const auto at = static_cast<std::size_t>(unknown - choice.begin());
  for (int value = 1; value <= Domains()[at].values; ++value) {
    choice[at] = value;
    ForEachCompletion(choice, visit, at + 1);
  }
  choice[at] = 0;
}

class Undetermined : public testing::Test {
 protected:
  static constexpr int kLists = 1200;

  void Draw() {
    filters_.clear();
    asked_.assign(Domains().size(), false);
    for (std::size_t i = random_.Below(4) + 1; i > 0; --i) {
      Filter& filter = filters_.emplace_back();
      for (std::size_t k = random_.Below(3) + 1; k > 0; --k) {
        const FieldRow& row = FieldRows()[random_.Below(FieldRows().size())];
        filter.Set(row.field, String::UTF8ToUTF16(row.texts[random_.Below(row.texts.size())]));
        asked_[row.domain] = true;
        if (row.field == FilterField::date_function) asked_[4] = true;
      }
      if (random_.Below(2) == 0) filter.set_value("false"_w);
    }
    if (random_.Below(3) == 0) {
      filters_.emplace_back().set_default(random_.Below(2) == 0 ? "true"_w : "false"_w);
    }
    // What no criterion asks has one value; of the rest about half is unknown.
    choice_.assign(Domains().size(), 1);
    for (std::size_t i = 0; i < choice_.size(); ++i) {
      if (!asked_[i]) continue;
      const auto values = static_cast<std::size_t>(Domains()[i].values);
      choice_[i] = random_.Below(2) == 0 ? 0 : static_cast<int>(random_.Below(values)) + 1;
    }
  }

  std::string Document() const { return WriteFilterDocument(ApplicabilityFilter(filters_)); }

  Random random_{20260301};
  std::vector<Filter> filters_;
  std::vector<bool> asked_;
  Choice choice_;
};

TEST_F(Undetermined, ADeterminedVerdictIsThatOfEveryCompletion) {
  int determined_with_unknown_facts = 0;
  for (int i = 0; i < kLists; ++i) {
    Draw();
    const CompiledList list(filters_);
    const Verdict verdict = DecideOn(list, choice_);
    if (verdict.applies == Truth::kUnknown) continue;
    determined_with_unknown_facts += std::ranges::count(choice_, 0) != 0 ? 1 : 0;
    ForEachCompletion(choice_, [&](const Choice& completion) {
      ASSERT_EQ(DecideOn(list, completion).applies, verdict.applies) << Document();
    });
  }
  EXPECT_GT(determined_with_unknown_facts, kLists / 10) << "the property would be empty";
}

TEST_F(Undetermined, WhatTheThreeValuesDetermineIsDetermined) {
  int undetermined = 0;
  for (int i = 0; i < kLists; ++i) {
    Draw();
    const Verdict verdict = DecideOn(CompiledList(filters_), choice_);
    ASSERT_EQ(verdict.applies, ByDefinition(filters_, choice_)) << Document();
    undetermined += verdict.applies == Truth::kUnknown ? 1 : 0;
    ASSERT_EQ(verdict.needs.empty(), verdict.applies != Truth::kUnknown) << Document();
  }
  EXPECT_GT(undetermined, kLists / 10) << "the property would be empty";
}

TEST_F(Undetermined, TheFactsThatAreNamedSettleIt) {
  for (int i = 0; i < kLists; ++i) {
    Draw();
    const CompiledList list(filters_);
    const Verdict verdict = DecideOn(list, choice_);
    Choice named = choice_;
    for (std::size_t d = 0; d < named.size(); ++d) {
      const bool is_named = std::ranges::any_of(verdict.needs, [&](const std::string& need) {
        return need.starts_with(Domains()[d].name);
      });
      ASSERT_TRUE(!is_named || named[d] == 0) << "a known fact is named: " << Document();
      // What is not named stays unknown; what is named takes each of its values.
      if (named[d] == 0 && !is_named) named[d] = -1;
    }
    ForEachCompletion(named, [&](const Choice& completion) {
      Choice partly = completion;
      std::ranges::replace(partly, -1, 0);
      ASSERT_NE(DecideOn(list, partly).applies, Truth::kUnknown) << Document();
    });
    ASSERT_TRUE(std::ranges::is_sorted(verdict.needs));
  }
}

TEST_F(Undetermined, AWalkWithoutAnUndecidedFilterSaysWhichFilterDecided) {
  for (int i = 0; i < kLists; ++i) {
    Draw();
    const CompiledList list(filters_);
    Choice complete = choice_;
    std::ranges::replace(complete, 0, 1);
    const Verdict verdict = DecideOn(list, complete);
    ASSERT_NE(verdict.applies, Truth::kUnknown) << Document();
    const Verdict partly = DecideOn(list, choice_);
    ASSERT_EQ(partly.decided_by.value_or(verdict.decided_by.value_or(99)),
              verdict.decided_by.value_or(99))
        << Document();
  }
}

}  // namespace
}  // namespace yox::decision
