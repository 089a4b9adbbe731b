// yox_fuzz_replay TARGET FOLDER...: gives the target every file of the folders, once each. Ends
// with 0 when all properties are true; a property that is false aborts after the name of its file.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string_view>
#include <vector>

#define FUZZ_TARGET(name) extern "C" int Fuzz##name(const std::uint8_t* data, std::size_t size);
#include "FuzzTargets.inc"
#undef FUZZ_TARGET

namespace {

struct Target {
  std::string_view name;
  int (*run)(const std::uint8_t* data, std::size_t size);
};

constexpr Target kTargets[] = {
#define FUZZ_TARGET(name) {#name, Fuzz##name},
#include "FuzzTargets.inc"
#undef FUZZ_TARGET
};

std::vector<std::filesystem::path> FilesOf(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view name = argc > 1 ? argv[1] : "";
  const auto* target = std::ranges::find(kTargets, name, &Target::name);
  if (target == std::end(kTargets) || argc < 3) {
    std::cerr << "usage: yox_fuzz_replay TARGET FOLDER...\n";
    return 2;
  }
  for (int i = 2; i < argc; ++i) {
    const std::vector<std::filesystem::path> files = FilesOf(argv[i]);
    if (files.empty()) {
      std::cerr << argv[i] << " holds no input\n";
      return 1;
    }
    for (const auto& file : files) {
      std::cout << file.filename().string() << std::endl;  // said before it can fail
      std::ifstream stream(file, std::ios::binary);
      const std::vector<char> bytes((std::istreambuf_iterator<char>(stream)), {});
      if (!stream.good() && !stream.eof()) {
        std::cerr << file.string() << " cannot be read\n";
        return 1;
      }
      target->run(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
  }
  return 0;
}
