#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace yoxd {

// A document with its type; an empty body: there is none.
struct StatusDocument {
  std::string type;
  std::string body;
};

// Returns the document of a path, such as "/status".
using StatusAnswer = std::function<StatusDocument(std::string_view path)>;

// Returns the HTTP response to what a peer has sent so far; std::nullopt while the request is not
// complete.
std::optional<std::string> StatusResponse(const std::string& request, const StatusAnswer& answer);

}  // namespace yoxd
