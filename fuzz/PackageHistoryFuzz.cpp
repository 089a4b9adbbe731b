#include <algorithm>

#include "yox/platform/system/linux/PackageHistory.h"

#include "fuzz/FuzzInput.h"

// The log of a package manager, whichever it is: there is never more in the history than in the
// log.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view log(reinterpret_cast<const char*>(data), size);
  const auto lines = static_cast<std::size_t>(std::ranges::count(log, '\n')) + 1;
  for (const auto read : {yox::platform::ReadAptHistory, yox::platform::ReadDnfHistory,
                          yox::platform::ReadZypperHistory, yox::platform::ReadPacmanHistory}) {
    const auto history = read(log);
    FUZZ_CHECK(history.size() <= lines);
    for (const yox::platform::OperatingSystemUpdate& update : history) {
      FUZZ_CHECK(update.result_code >= 1 && update.result_code <= 4);
      FUZZ_CHECK(update.title && update.title->find(yox::WChar{'\n'}) == yox::WString::npos);
    }
  }
  return 0;
}
