#include <string>

#include "yox/platform/system/linux/DomainMembership.h"

#include "fuzz/FuzzInput.h"

// A file that may configure a membership in a domain, whichever program's it is. Bytes after a
// keytab change nothing, and neither does reading a file of SSSD a second time.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const bool sssd = yox::platform::SssdHasDomain({text});
  FUZZ_CHECK(yox::platform::SssdHasDomain({"", text}) == sssd);
  FUZZ_CHECK(yox::platform::SssdHasDomain({text, text}) == sssd);
  yox::platform::WinbindHasDomain(text);
  if (yox::platform::KeytabHasMachine(text)) {
    FUZZ_CHECK(yox::platform::KeytabHasMachine(std::string(text) + "more"));
  }
  return 0;
}
