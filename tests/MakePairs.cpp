// Writes generated pairs of a device profile and a filter list, for tools that compare or measure
// from outside:
//   yox_make_pairs FOLDER COUNT SEED
// For each pair, counted from 0: FOLDER/0.device.json, FOLDER/0.filters.json, and
// FOLDER/0.arguments with what `yoxctl evaluate` is given beside them, one argument a line. The
// same seed gives the same bytes.
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "tests/support/Generators.h"

namespace {

void Write(const std::filesystem::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  if (!file.flush()) throw std::runtime_error(path.string() + ": cannot be written");
}

std::string Lines(const yox_test::GeneratedArguments& arguments) {
  std::string lines;
  if (!arguments.target_version.empty()) {
    lines += "--target-version=" + arguments.target_version + "\n";
  }
  for (const auto& [key, value] : arguments.extra_tags)
    lines += "--tag=" + key + "=" + value + "\n";
  return lines;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 4) {
    std::cerr << "usage: yox_make_pairs FOLDER COUNT SEED\n";
    return 2;
  }
  const std::filesystem::path folder = argv[1];
  const std::uint64_t count = std::stoull(argv[2]);
  yox_test::Random random(std::stoull(argv[3]));
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::string stem = (folder / std::to_string(i)).string();
    Write(stem + ".device.json", MakeDevice(random, yox_test::Mix::kEverything).ToProfile());
    Write(stem + ".filters.json", MakeList(random, yox_test::Mix::kEverything).ToDocument());
    Write(stem + ".arguments", Lines(MakeArguments(random)));
  }
  return 0;
} catch (const std::exception& error) {
  std::cerr << "yox_make_pairs: " << error.what() << '\n';
  return 1;
}
