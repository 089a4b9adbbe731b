#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "yox/base/String.h"

// A property that is true for every input. The program ends where it is not, which the fuzzer keeps
// as a finding and the replay reports as a failure.
#define FUZZ_CHECK(condition)                                                             \
  do {                                                                                    \
    if (!(condition)) {                                                                   \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                       \
    }                                                                                     \
  } while (false)

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace yox_fuzz {

// The bytes of one input, taken from the front as lines, so that a seed is a readable text file.
class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size)
      : rest_(reinterpret_cast<const char*>(data), size) {}

  // Up to the next line feed; empty when nothing is left.
  std::string_view Line() {
    const std::size_t end = rest_.find('\n');
    const std::string_view line = rest_.substr(0, end);
    rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
    return line;
  }

  // The next line, read as UTF-8. A line that starts with the byte FF contains code units instead,
  // two bytes each, so that lone surrogates and embedded zeros are reached.
  yox::WString Text() {
    std::string_view line = Line();
    if (!line.starts_with('\xFF')) return YOX::String::UTF8ToUTF16(line);
    yox::WString text;
    for (line.remove_prefix(1); line.size() >= 2; line.remove_prefix(2)) {
      const auto low = static_cast<unsigned char>(line[0]);
      const auto high = static_cast<unsigned char>(line[1]);
      text.push_back(static_cast<yox::WChar>(high << 8 | low));
    }
    return text;
  }

  std::string_view Rest() const { return rest_; }

 private:
  std::string_view rest_;
};

}  // namespace yox_fuzz
