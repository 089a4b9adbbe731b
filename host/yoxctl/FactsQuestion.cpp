#include "host/yoxctl/FactsQuestion.h"

#include <chrono>
#include <string_view>

#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/platform/simulated/DeviceProfileReader.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/ExplanationText.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {

std::int64_t MomentOn(const yox::decision::FactsRecord& facts, const std::string& name,
                      const std::optional<std::string>& now) {
  if (!now) {
    const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::floor<std::chrono::seconds>(since_1970).count();
  }
  // A profile's clock has the same form.
  Json::Value document;
  document["clock"]["now"] = ClockTextOf(*now);
  if (facts.time_zone) document["clock"]["time_zone"] = facts.time_zone_name;
  yox::platform::DeviceProfile profile;
  try {
    profile = yox::platform::ReadDeviceProfile(yox::JsonText(document));
  } catch (const yox::DocumentError& error) {
    throw Refusal(name + ": " + error.message().substr(std::string_view("clock.now: ").size()));
  }
  if (!facts.time_zone && !profile.clock->now->utc_offset) {
    throw Refusal(name + ": the facts name no time zone: expected an offset as in " +
                  "2026-03-01T12:00:00+01:00, found \"" + yox::Printable(*now) + "\"");
  }
  return *profile.clock->Moment();
}

yox::decision::Explanation ExplainOn(const yox::decision::FactsRecord& facts,
                                     const ApplicabilityFilter& list,
                                     const yox::decision::Question& question) {
  const yox::decision::PreparedDevice device(facts);
  yox::decision::PreparedFacts prepared(device, question);
  const ApplicabilityFilter::Lease compiled(list);
  return Explain(*compiled, prepared);
}

std::string AnswerText(const yox::decision::Explanation& explanation, const Painter& paint) {
  const std::string word = AnswerWord(explanation);
  if (explanation.is_undetermined) {
    std::string needs;
    for (const std::string& fact : explanation.needs) {
      needs += (needs.empty() ? "needs " : ", ") + OneLine(fact);
    }
    return paint(Paint::kOdd, word) + "\n" + needs + "\n";
  }
  return paint(explanation.applies ? Paint::kGood : Paint::kBad, word) + "\n" +
         YOX::String::UTF16ToUTF8(explanation.reason) + "\n";
}

}  // namespace yoxctl
