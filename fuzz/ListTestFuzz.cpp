#include "yox/applicability/DeviceOfCase.h"
#include "yox/decision/ListTest.h"

#include "fuzz/FuzzInput.h"

using namespace yox::applicability;
using namespace yox::decision;

// A document of cases, and the device of each over a profile that has what may be changed. What is
// refused is reported in one line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::string_view kProfile =
      R"({"region": {"country_code": "US"}, "firmware": {"sku": "X"}, "devices": []})";
  constexpr std::string_view kFacts = R"({"id": "1", "country": "US"})";
  try {
    const ListTest test = ReadListTest({reinterpret_cast<const char*>(data), size});
    FUZZ_CHECK(!test.cases.empty());
    for (const ListTestCase& one : test.cases) {
      FUZZ_CHECK(one.applies.has_value());
      if (one.facts) {
        FactsOfCase(one, kFacts);
        continue;
      }
      const auto device = DeviceOfCase(one, kProfile);
      if (!one.changes) FUZZ_CHECK(device.firmware.has_value());
    }
  } catch (const yox::DocumentError& error) {
    FUZZ_CHECK(error.what()[0] != '\0');
    FUZZ_CHECK(std::string_view(error.what()).find('\n') == std::string_view::npos);
  }
  return 0;
}
