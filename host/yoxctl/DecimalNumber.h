#pragma once

#include <CLI/Validators.hpp>
#include <charconv>
#include <limits>
#include <string>
#include <system_error>

#include "yox/base/Document.h"

namespace yoxctl {

// Lets an option take a number of the type in decimal digits and nothing else. The parser alone
// wraps what is too small or too large, reads 010 as eight, and an empty text as 0.
template <class Number>
CLI::Validator DecimalNumber() {
  return CLI::Validator(
      [](std::string& text) {
        Number number{};
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc() || stop != end) {
          return "expected a whole number from " +
                 std::to_string(std::numeric_limits<Number>::min()) + " to " +
                 std::to_string(std::numeric_limits<Number>::max()) + ", found \"" +
                 yox::Printable(text) + "\"";
        }
        text = std::to_string(number);
        return std::string();
      },
      "");
}

}  // namespace yoxctl
