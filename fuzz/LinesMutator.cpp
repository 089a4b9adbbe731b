// Changes documents of lines: a line is dropped, doubled, moved or changed, or replaced by one of
// another input, as a whole or after its equals sign.
#include <algorithm>

#include "fuzz/Mutation.h"

using yox_fuzz::Below;
using yox_fuzz::Random;

namespace {

yox_fuzz::Parts<std::string> g_lines;

std::size_t AfterEqualsSign(const std::string& line) {
  const std::size_t at = line.find('=');
  return at == std::string::npos ? 0 : at + 1;
}

std::string Mutated(const std::string& text, std::size_t most, Random& random) {
  std::vector<std::string> lines = yox_fuzz::Lines(text);
  for (const std::string& line : lines) g_lines.Keep(line, random);
  const auto place = [&] {
    return lines.begin() + static_cast<std::ptrdiff_t>(Below(lines.size(), random));
  };
  const auto at = place();
  const std::string other = *g_lines.Any(random);
  switch (Below(6, random)) {
    case 0:
      lines.erase(at);
      break;
    case 1:
      lines.insert(place(), std::string(*at));
      break;
    case 2:
      lines.insert(at, other);
      break;
    case 3:
      std::iter_swap(at, place());
      break;
    case 4:
      at->replace(AfterEqualsSign(*at), std::string::npos, other, AfterEqualsSign(other));
      break;
    default: {
      const std::size_t kept = Below(2, random) == 0 ? 0 : AfterEqualsSign(*at);
      *at = at->substr(0, kept) +
            yox_fuzz::MutatedBytes(at->substr(kept),
                                   std::max<std::size_t>(most - text.size(), at->size()));
    }
  }
  return yox_fuzz::Joined(lines);
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t most, unsigned seed) {
  Random random(seed);
  if (Below(4, random) != 0) {
    const std::string mutated =
        Mutated(std::string(reinterpret_cast<const char*>(data), size), most, random);
    if (mutated.size() <= most) {
      std::ranges::copy(mutated, data);
      return mutated.size();
    }
  }
  return LLVMFuzzerMutate(data, size, most);
}
