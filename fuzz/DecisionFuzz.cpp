#include <optional>
#include <string>

#include "yox/base/Document.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/ReasonText.h"
#include "yox/facts/FactsLine.h"

#include "fuzz/FuzzInput.h"

using namespace yox::decision;
using yox::WString;
using yox::facts::FactsLine;
using yox::facts::LineFacts;

namespace {

constexpr std::int64_t kNow = 1772362800;  // 2026-03-01T12:00:00+01:00

struct Outcome {
  Verdict verdict;
  WString reason;
};

Outcome OutcomeOf(const CompiledList& list, DeviceFacts& facts) {
  Outcome outcome;
  ReasonText observer(list, outcome.reason);
  outcome.verdict = Decide(list, facts, &observer);
  return outcome;
}

void CheckSame(const Outcome& one, const Outcome& other) {
  FUZZ_CHECK(one.verdict.applies == other.verdict.applies);
  FUZZ_CHECK(one.verdict.decided_by == other.verdict.decided_by);
  FUZZ_CHECK(one.verdict.needs == other.verdict.needs);
  FUZZ_CHECK(one.reason == other.reason);
}

}  // namespace

// A line with a device's facts, a line with the target version, and a filter document. The device
// as a line of a fleet, prepared, and written and read again is decided alike; what is undetermined
// names what would settle it, and what is decided without a fact is decided so with it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  yox_fuzz::FuzzInput input(data, size);
  const std::string facts(input.Line());
  const WString target = input.Text();
  try {
    const auto list = ReadFilterDocument(std::string(input.Rest())).snapshot();
    FactsRecord record = ReadFacts(facts);
    Question question{kNow};
    if (!target.empty()) question.target_version = target;

    const std::string padded = facts + std::string(FactsLine::kPadding, ' ');
    FactsLine line;
    line.Read(std::string_view(padded).substr(0, facts.size()));
    LineFacts line_facts(line, question);
    const Outcome outcome = OutcomeOf(*list, line_facts);
    FUZZ_CHECK((outcome.verdict.applies == Truth::kUnknown) == !outcome.verdict.needs.empty());

    const PreparedDevice prepared(record);
    PreparedFacts prepared_facts(prepared, question);
    CheckSame(outcome, OutcomeOf(*list, prepared_facts));

    const PreparedDevice again(ReadFacts(FactsJson(record)));
    PreparedFacts facts_again(again, question);
    CheckSame(outcome, OutcomeOf(*list, facts_again));

    for (auto& text : record.texts) {
      if (text.knowledge == Knowledge::kUnknown) text = Given<WString>::Missing();
    }
    const PreparedDevice fuller(record);
    PreparedFacts fuller_facts(fuller, question);
    if (outcome.verdict.applies != Truth::kUnknown) {
      FUZZ_CHECK(Decide(*list, fuller_facts).applies == outcome.verdict.applies);
    }
  } catch (const yox::DocumentError& error) {
    FUZZ_CHECK(error.what()[0] != '\0');
  }
  return 0;
}
