#include "host/yoxd/StatusRequest.h"

#include <cstddef>

namespace yoxd {
namespace {

constexpr std::size_t kLongestRequest = 4'096;

std::string Response(const char* status, const StatusDocument& document) {
  return std::string("HTTP/1.0 ") + status + "\r\nContent-Type: " + document.type +
         "\r\nContent-Length: " + std::to_string(document.body.size()) +
         "\r\nConnection: close\r\n\r\n" + document.body;
}

}  // namespace

std::optional<std::string> StatusResponse(const std::string& request, const StatusAnswer& answer) {
  if (request.size() > kLongestRequest) {
    return Response("400 Bad Request", {"text/plain", "the request is too long\n"});
  }
  if (request.find("\r\n\r\n") == std::string::npos) return std::nullopt;
  const std::string line = request.substr(0, request.find("\r\n"));
  const std::size_t end = line.find(' ', 4);
  const bool get = line.starts_with("GET ") && end != std::string::npos;
  const StatusDocument document =
      get ? answer(std::string_view(line).substr(4, end - 4)) : StatusDocument{};
  return document.body.empty()
             ? Response("404 Not Found", {"text/plain", "GET /status or /metrics\n"})
             : Response("200 OK", document);
}

}  // namespace yoxd
