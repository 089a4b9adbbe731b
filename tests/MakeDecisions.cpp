// Writes generated decisions for tests that make the same ones elsewhere, such as in a database:
//   yox_make_decisions COUNT SEED
// A line of JSON for each: list, facts, moment and target version, and what the evaluator decides
// on the simulated device whose facts these are. The same seed gives the same bytes.
#include <json/value.h>

#include <cstdint>
#include <exception>
#include <iostream>
#include <span>
#include <string>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/SimulatedProcess.h"
#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/platform/simulated/DeviceProfileReader.h"

#include "tests/support/Generators.h"

namespace {

using yox::String;

Json::Value Decided(yox_test::Random& random) {
  const auto profile =
      yox::platform::ReadDeviceProfile(MakeDevice(random, yox_test::Mix::kEverything).ToProfile());
  const std::string list = MakeList(random, yox_test::Mix::kEverything).ToDocument();
  const std::string target_version = MakeArguments(random).target_version;
  const ApplicabilityFilter filter = yox::decision::ReadFilterDocument(list);
  const std::span<const ApplicabilityFilter> lists(&filter, 1);

  Json::Value line;
  line["list"] = list;
  line["facts"] = FactsJson(yox::applicability::FactsOf(profile, lists));
  line["moment"] = Json::Int64{profile.clock.value().Moment().value()};
  if (!target_version.empty()) line["target_version"] = target_version;

  const yox::applicability::SimulatedProcess process(profile);
  yox::WString target = String::UTF8ToUTF16(target_version);
  yox::WString reason;
  line["applies"] = ApplicabilityEvaluator::CreateWithoutTasks()->IsApplicable(
      filter, target.empty() ? nullptr : &target, {}, reason);
  line["reason"] = String::UTF16ToUTF8(reason);
  return line;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) {
    std::cerr << "usage: yox_make_decisions COUNT SEED\n";
    return 2;
  }
  yox_test::Random random(std::stoull(argv[2]));
  for (std::uint64_t i = std::stoull(argv[1]); i > 0; --i) {
    std::cout << yox::JsonText(Decided(random), yox::JsonStyle::kReadableLine);
  }
  return std::cout.flush() ? 0 : 1;
} catch (const std::exception& error) {
  std::cerr << "yox_make_decisions: " << error.what() << '\n';
  return 1;
}
