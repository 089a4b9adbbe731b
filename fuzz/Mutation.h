#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

// What libFuzzer offers to mutators, and what they share.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace yox_fuzz {

using Random = std::minstd_rand;

inline std::size_t Below(std::size_t end, Random& random) {
  return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
}

// libFuzzer's own changes of bytes.
inline std::string MutatedBytes(std::string_view bytes, std::size_t most) {
  std::string changed(bytes.substr(0, most));
  const std::size_t size = changed.size();
  changed.resize(most);
  auto* const data = reinterpret_cast<std::uint8_t*>(changed.data());
  changed.resize(LLVMFuzzerMutate(data, size, most));
  return changed;
}

inline std::vector<std::string> Lines(std::string_view text) {
  std::vector<std::string> lines;
  for (std::size_t end = 0; end != std::string_view::npos;) {
    end = text.find('\n');
    lines.emplace_back(text.substr(0, end));
    if (end != std::string_view::npos) text.remove_prefix(end + 1);
  }
  return lines;
}

inline std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    if (&line != lines.data()) text += '\n';
    text += line;
  }
  return text;
}

// Parts of former inputs, of which mutations take others' parts.
template <class Part>
class Parts {
 public:
  void Keep(Part part, Random& random) {
    if (parts_.size() < kMost) {
      parts_.push_back(std::move(part));
    } else {
      parts_[Below(kMost, random)] = std::move(part);
    }
  }
  const Part* Any(Random& random) const {
    return parts_.empty() ? nullptr : &parts_[Below(parts_.size(), random)];
  }

 private:
  static constexpr std::size_t kMost = 2048;

  std::vector<Part> parts_;
};

}  // namespace yox_fuzz
