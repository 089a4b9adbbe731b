// Decides one list on a hundred thousand devices in one process, on two threads, without the rest
// of the library, and ends with 1 when a decision is another than expected.
#include <cstddef>
#include <cstdio>
#include <thread>
#include <vector>

#include "yox/base/TimeZone.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"

namespace {

using namespace yox::decision;
using namespace yox::literals;

constexpr std::size_t kDevices = 100'000;
constexpr const char* kList = R"([
  {"country": "FR", "value": "false"},
  {"os_version": ">=10.0", "tag": "Ring|beta", "date_range": "2026-01-01|*"},
  {"default": "false"}])";

// Every third device is in France, every second has the tag, and of every fifth no tag is known.
PreparedDevice Device(std::size_t number) {
  FactsRecord record;
  record.text(FilterField::country) = Given<yox::WString>::Known(number % 3 == 0 ? "FR"_w : "DE"_w);
  record.text(FilterField::os_version) = Given<yox::WString>::Known("10.0.22631"_w);
  record.time_zone = yox::TimeZone();
  if (number % 5 != 0) record.tags = Pairs{{"ring"_w, number % 2 == 0 ? "Beta"_w : "stable"_w}};
  return PreparedDevice(record);
}

Truth Expected(std::size_t number) {
  if (number % 3 == 0) return Truth::kFalse;
  return number % 5 == 0 ? Truth::kUnknown : TruthOf(number % 2 == 0);
}

}  // namespace

int main() {
  const auto list = ReadFilterDocument(kList).snapshot();
  const Question question{1772361000};
  std::vector<PreparedDevice> devices;
  for (std::size_t i = 0; i < kDevices; ++i) devices.push_back(Device(i));

  std::size_t wrong[2] = {};
  const auto decide = [&](std::size_t half) {
    for (std::size_t i = half; i < kDevices; i += 2) {
      PreparedFacts facts(devices[i], question);
      wrong[half] += Decide(*list, facts).applies != Expected(i) ? 1 : 0;
    }
  };
  std::thread other(decide, 1);
  decide(0);
  other.join();
  std::printf("%zu of %zu decisions are not as expected\n", wrong[0] + wrong[1], kDevices);
  return wrong[0] + wrong[1] == 0 ? 0 : 1;
}
