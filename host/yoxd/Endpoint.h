#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace yoxd {

// Where the broker is and how it is trusted. All connections use TLS: the server's certificate has
// to lead to a certificate of `trust_file` and to name `host`.
struct Endpoint {
  std::string host = {};
  int port = 8883;
  std::string trust_file = {};     // PEM
  std::string trust_content = {};  // what the file has; another content is another endpoint
  std::string certificate = {};    // the client's, PEM; empty: none
  std::string key = {};

  friend bool operator==(const Endpoint&, const Endpoint&) = default;

  // Reads "mqtts://HOST[:PORT]". Returns std::nullopt for any other form, one without TLS included.
  static std::optional<Endpoint> FromUri(std::string_view uri);
};

}  // namespace yoxd
