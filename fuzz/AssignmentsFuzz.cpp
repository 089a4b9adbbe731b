#include "yox/platform/system/linux/Assignments.h"

#include "fuzz/FuzzInput.h"

// An os-release file. Quoted and written again, every value is read as it was.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto values = yox::platform::ReadAssignments({reinterpret_cast<const char*>(data), size});
  std::string written;
  for (const auto& [name, value] : values) {
    FUZZ_CHECK(!name.empty() && value.find('\n') == std::string::npos);
    written += name + "=\"";
    for (const char letter : value) {
      if (letter == '"' || letter == '\\') written += '\\';
      written += letter;
    }
    written += "\"\n";
  }
  FUZZ_CHECK(yox::platform::ReadAssignments(written) == values);
  return 0;
}
