#include <algorithm>

#include "yox/platform/apps/RegistryApplications.h"

#include "fuzz/FuzzInput.h"

// A name that is read begins with what was read of it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace yox::literals;
  yox_fuzz::FuzzInput input(data, size);
  const yox::WString full_name = input.Text();
  if (const auto read = yox::platform::ReadPackageFullName(full_name)) {
    FUZZ_CHECK(full_name.starts_with(read->first + "_"_w + read->second + "_"_w));
    FUZZ_CHECK(std::ranges::count(read->second, yox::WChar{'.'}) == 3);
  }
  return 0;
}
