#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace yoxd {

// The headers of an HTTP response that say how long it may be used, and by which the server
// recognises it.
struct ResponseHeaders {
  std::string etag = {};
  std::string last_modified = {};
  std::optional<std::chrono::seconds> max_age = {};  // 0 for "no-cache" and "no-store"

  // Reads a line of a response; one of another header changes nothing.
  void Read(std::string_view line);
};

// When a document is fetched again: after `max_age`, but within a minute and a week; without one
// after `interval`.
std::chrono::seconds FetchAgainAfter(std::optional<std::chrono::seconds> max_age,
                                     std::chrono::seconds interval);

}  // namespace yoxd
