#include "yox/platform/crypto/PemCleaning.h"

#include "fuzz/FuzzInput.h"

// A PEM file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::int64_t kNow = 1772366400;
  const std::string_view pem(reinterpret_cast<const char*>(data), size);
  const auto clean = yox::platform::CleanPem(pem, kNow);
  FUZZ_CHECK(clean || !yox::platform::IsUsablePem(pem));
  if (clean) {
    FUZZ_CHECK(clean->size() <= pem.size());
    FUZZ_CHECK(yox::platform::CleanPem(*clean, kNow) == clean);
  }
  return 0;
}
