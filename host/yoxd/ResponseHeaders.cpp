#include "host/yoxd/ResponseHeaders.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <system_error>

#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

// Bounds of what a server may ask for by max-age.
constexpr std::chrono::seconds kShortestAge = std::chrono::minutes(1);
constexpr std::chrono::seconds kLongestAge = std::chrono::days(7);

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(kBlank);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlank) - begin + 1);
}

std::optional<std::chrono::seconds> MaxAge(const std::string& value) {
  if (value.find("no-cache") != std::string::npos || value.find("no-store") != std::string::npos) {
    return std::chrono::seconds(0);
  }
  constexpr std::string_view kName = "max-age=";
  const std::size_t at = value.find(kName);
  if (at == std::string::npos) return std::nullopt;
  std::int64_t seconds = 0;
  const char* const begin = value.data() + at + kName.size();
  const auto [stop, error] = std::from_chars(begin, value.data() + value.size(), seconds);
  if (error != std::errc() || seconds < 0) return std::nullopt;
  return std::chrono::seconds(seconds);
}

}  // namespace

void ResponseHeaders::Read(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return;
  const std::string name = Lower(std::string(line.substr(0, colon)));
  const std::string_view value = Trimmed(line.substr(colon + 1));
  if (name == "etag") etag = value;
  if (name == "last-modified") last_modified = value;
  if (name == "cache-control") max_age = MaxAge(Lower(std::string(value)));
}

std::chrono::seconds FetchAgainAfter(std::optional<std::chrono::seconds> max_age,
                                     std::chrono::seconds interval) {
  return max_age ? std::clamp(*max_age, kShortestAge, kLongestAge) : interval;
}

}  // namespace yoxd
