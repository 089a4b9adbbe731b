#include "yox/platform/simulated/DeviceProfileReader.h"

#include "fuzz/FuzzInput.h"

// A device profile. What is read is written so that it reads as the same; a refusal says something.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using yox::platform::ReadDeviceProfile;
  using yox::platform::WriteDeviceProfile;
  try {
    const std::string_view document(reinterpret_cast<const char*>(data), size);
    const std::string written = WriteDeviceProfile(ReadDeviceProfile(document));
    FUZZ_CHECK(WriteDeviceProfile(ReadDeviceProfile(written)) == written);
  } catch (const yox::DocumentError& error) {
    FUZZ_CHECK(error.what()[0] != '\0');
    FUZZ_CHECK(std::string_view(error.what()).find('\n') == std::string_view::npos);
  }
  return 0;
}
