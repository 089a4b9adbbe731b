#include <algorithm>

#include "yox/platform/apps/linux/InstalledPackages.h"

#include "fuzz/FuzzInput.h"

// What a package manager or a store has written, whichever it is: nothing is read that does not
// stand there.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view written(reinterpret_cast<const char*>(data), size);
  const auto stands_there = [&](const std::string& text) {
    return written.find(text) != std::string_view::npos;
  };
  const auto check = [&](const yox::platform::InstalledPackage& package) {
    FUZZ_CHECK(!package.name.empty());
    FUZZ_CHECK(stands_there(package.name) && stands_there(package.version) &&
               stands_there(package.architecture) && stands_there(package.publisher));
  };
  const auto packages = yox::platform::ReadDpkgStatus(written);
  FUZZ_CHECK(packages.size() <= static_cast<std::size_t>(std::ranges::count(written, '\n')) + 1);
  std::ranges::for_each(packages, check);
  if (const auto package = yox::platform::ReadRpmHeader(written)) {
    check(*package);
    FUZZ_CHECK(!package->architecture.empty());
  }
  if (const auto snap = yox::platform::ReadSnapYaml(written)) check(*snap);
  yox::platform::ReadMetainfoVersion(written);  // entities and encodings stand otherwise
  return 0;
}
