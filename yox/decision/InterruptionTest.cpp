#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <string>

#include "yox/base/Interruption.h"
#include "yox/base/LocalDate.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/Lint.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/RolloutDays.h"

#include "tests/support/Rows.h"

namespace yox::decision {
namespace {

constexpr const char* kList = R"([{"country":"DE","date_function":"2026-03-01|4|linear"},{}])";

struct WorkRow {
  const char* name;
  std::function<void(const ApplicabilityFilter&)> work;
};

class InterruptedWork : public ::testing::TestWithParam<WorkRow> {};

TEST_P(InterruptedWork, EndsWhenTheFlagIsSetAndOnlyThen) {
  const ApplicabilityFilter list = ReadFilterDocument(kList);
  const auto work = [&] { GetParam().work(list); };
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

PreparedDevice Device() { return PreparedDevice(ReadFacts(R"({"country":"FR"})")); }

INSTANTIATE_TEST_SUITE_P(
    Rows, InterruptedWork,
    ::testing::Values(WorkRow{"Reading",
                              [](const ApplicabilityFilter&) { ReadFilterDocument(kList); }},
                      WorkRow{"Compiling",
                              [](const ApplicabilityFilter& list) {
                                const CompiledList compiled(list.filters());
                              }},
                      WorkRow{"Explaining",
                              [](const ApplicabilityFilter& list) {
                                const PreparedDevice device = Device();
                                const Question question;
                                PreparedFacts facts(device, question);
                                Explain(*list.snapshot(), facts);
                              }},
                      WorkRow{"Days",
                              [](const ApplicabilityFilter& list) {
                                const RolloutDays days(*list.snapshot(), {20513, 20520}, {});
                                const PreparedDevice device = Device();
                                const Question question;
                                PreparedFacts facts(device, question);
                                days.ForEachDay(*list.snapshot(), facts, [](std::size_t, Truth) {});
                              }},
                      WorkRow{"Linting",
                              [](const ApplicabilityFilter& list) {
                                Lint(list, {2026, 3, 1});
                              }}),
    yox_test::RowName());

}  // namespace
}  // namespace yox::decision
