#include <algorithm>

#include "yox/platform/apps/linux/InstalledPackages.h"

#include "fuzz/FuzzInput.h"

// What a package manager or a store has written, whichever it is. Every text that is read is in it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view written(reinterpret_cast<const char*>(data), size);
  const auto is_written = [&](const std::string& text) {
    return written.find(text) != std::string_view::npos;
  };
  const auto check = [&](const yox::platform::InstalledPackage& package) {
    FUZZ_CHECK(!package.name.empty());
    FUZZ_CHECK(is_written(package.name) && is_written(package.version) &&
               is_written(package.architecture) && is_written(package.publisher));
  };
  for (const auto read : {yox::platform::ReadDpkgStatus, yox::platform::ReadApkInstalled,
                          yox::platform::ReadRpmQuery}) {
    const auto packages = read(written);
    FUZZ_CHECK(packages.size() <= static_cast<std::size_t>(std::ranges::count(written, '\n')) + 1);
    std::ranges::for_each(packages, check);
  }
  if (const auto package = yox::platform::ReadPacmanDesc(written)) check(*package);
  if (const auto package = yox::platform::ReadRpmHeader(written)) {
    check(*package);
    FUZZ_CHECK(!package->architecture.empty());
  }
  if (const auto snap = yox::platform::ReadSnapYaml(written)) check(*snap);
  yox::platform::ReadMetainfoVersion(written);  // entities and encodings are written otherwise
  return 0;
}
