// Decides one filter list for 100,000 devices, in one process and two threads. The facts of the
// devices are in memory; nothing is read of the machine that this runs on.
#include <array>
#include <cstddef>
#include <iostream>
#include <thread>
#include <vector>

#include "yox/decision/Decide.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"

using namespace yox::decision;
using namespace yox::literals;

int main() {
  const ApplicabilityFilter list = ReadFilterDocument(R"([{"country": "US,CA", "value": "false"},
                                                          {"os_version": ">=10.0.19041"}])");
  const std::array countries = {"US"_w, "DE"_w, "FR"_w, "JP"_w, "CA"_w};
  std::vector<PreparedDevice> devices;
  for (std::size_t i = 0; i < 100'000; ++i) {
    FactsRecord facts;  // what is not set is unknown
    facts.text(FilterField::country) = Given<yox::WString>::Known(countries[i % 5]);
    if (i % 2 == 0)
      facts.text(FilterField::os_version) = Given<yox::WString>::Known("10.0.22621"_w);
    devices.emplace_back(facts);
  }
  const auto compiled = list.snapshot();  // may be read by any thread
  const Question question{.now = 1'767'225'600};
  std::array<std::array<int, 3>, 2> counts{};  // of each thread, by Truth
  auto decide = [&](std::size_t first) {
    for (std::size_t i = first; i < devices.size(); i += 2) {
      PreparedFacts facts(devices[i], question);
      ++counts[first][static_cast<std::size_t>(Decide(*compiled, facts).applies)];
    }
  };
  std::thread other(decide, 1);
  decide(0);
  other.join();
  std::cout << counts[0][1] + counts[1][1] << " apply, " << counts[0][0] + counts[1][0]
            << " do not, " << counts[0][2] + counts[1][2] << " depend on facts that are unknown\n";
}
