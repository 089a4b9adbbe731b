#include "host/yoxd/Endpoint.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace yoxd {

std::optional<Endpoint> Endpoint::FromUri(std::string_view uri) {
  constexpr std::string_view kScheme = "mqtts://";
  if (!uri.starts_with(kScheme)) return std::nullopt;
  uri.remove_prefix(kScheme.size());
  while (uri.ends_with('/')) uri.remove_suffix(1);
  Endpoint endpoint;
  if (uri.starts_with('[')) {  // an IPv6 address
    const std::size_t end = uri.find(']');
    if (end == std::string_view::npos) return std::nullopt;
    endpoint.host = uri.substr(1, end - 1);
    uri.remove_prefix(end + 1);
  } else {
    const std::size_t end = std::min(uri.find(':'), uri.size());
    endpoint.host = uri.substr(0, end);
    uri.remove_prefix(end);
  }
  if (!uri.empty()) {
    const char* const last = uri.data() + uri.size();
    if (uri.front() != ':') return std::nullopt;
    const auto [stop, error] = std::from_chars(uri.data() + 1, last, endpoint.port);
    if (error != std::errc() || stop != last) return std::nullopt;
  }
  const bool valid = !endpoint.host.empty() && endpoint.port > 0 && endpoint.port < 65'536 &&
                     endpoint.host.find_first_of("/@? ") == std::string::npos;
  if (!valid) return std::nullopt;
  return endpoint;
}

}  // namespace yoxd
