#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <string>

#include "yox/base/Document.h"
#include "yox/base/Interruption.h"
#include "yox/base/LocalDate.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/ExplanationDocument.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/Lint.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/RolloutDays.h"

#include "tests/support/Rows.h"

namespace yox::decision {
namespace {

constexpr const char* kListWithMistake = R"([{"country":"DE"},{"country":5}])";
constexpr const char* kList = R"([{"country":"DE","date_function":"2026-03-01|4|linear"},{}])";

PreparedDevice FrenchDevice() { return PreparedDevice(ReadFacts(R"({"country":"FR"})")); }

Explanation ExplanationOf(const ApplicabilityFilter& list) {
  const PreparedDevice device = FrenchDevice();
  const Question question;
  PreparedFacts facts(device, question);
  return Explain(*list.snapshot(), facts);
}

void DecideDays(const ApplicabilityFilter& list) {
  const RolloutDays days(*list.snapshot(), {20513, 20520}, {});
  const PreparedDevice device = FrenchDevice();
  const Question question;
  PreparedFacts facts(device, question);
  days.ForEachDay(*list.snapshot(), facts, [](std::size_t, Truth) {});
}

struct Inputs {
  ApplicabilityFilter list = ReadFilterDocument(kList);
  Explanation explanation = ExplanationOf(list);
};

struct WorkRow {
  const char* name;
  std::function<void(const Inputs&)> work;
};

class InterruptedWork : public ::testing::TestWithParam<WorkRow> {};

TEST_P(InterruptedWork, EndsWhenTheFlagIsSetAndOnlyThen) {
  const Inputs given;
  const auto work = [&] { GetParam().work(given); };
  const volatile std::sig_atomic_t is_set = 1;
  const volatile std::sig_atomic_t is_not_set = 0;
  EXPECT_NO_THROW(work());
  {
    const InterruptionScope scope(&is_not_set);
    EXPECT_NO_THROW(work());
    const InterruptionScope inner(&is_set);
    EXPECT_THROW(work(), Interrupted);
    const InterruptionScope innermost(nullptr);
    EXPECT_NO_THROW(work());
  }
  EXPECT_NO_THROW(work());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, InterruptedWork,
    ::testing::Values(WorkRow{"Compiling",
                              [](const Inputs& given) {
                                const CompiledList compiled(given.list.filters());
                              }},
                      WorkRow{"Explaining", [](const Inputs& given) { ExplanationOf(given.list); }},
                      WorkRow{"WritingAnExplanation",
                              [](const Inputs& given) { ExplanationJson(given.explanation); }},
                      WorkRow{"Days", [](const Inputs& given) { DecideDays(given.list); }},
                      WorkRow{"Linting",
                              [](const Inputs& given) {
                                Lint(given.list, {2026, 3, 1});
                              }}),
    yox_test::RowName());

// A list that is read is compiled as well, so reading shows by a mistake that it does not come to.
TEST(InterruptedReading, EndsBeforeAMistakeIsFound) {
  const volatile std::sig_atomic_t is_set = 1;
  EXPECT_THROW(ReadFilterDocument(kListWithMistake), DocumentError);
  const InterruptionScope scope(&is_set);
  EXPECT_THROW(ReadFilterDocument(kListWithMistake), Interrupted);
}

}  // namespace
}  // namespace yox::decision
