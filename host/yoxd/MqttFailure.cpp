#include "host/yoxd/MqttFailure.h"

#include <mosquitto.h>

#include <cerrno>
#include <cstddef>
#include <system_error>

namespace yoxd {

std::string MqttFailure(int result, int error) {
  if (result != MOSQ_ERR_ERRNO) return mosquitto_strerror(result);
  // The library's error for a connection that ends within a TLS record or the handshake.
  if (error == EPROTO)
    return "TLS: the broker ended the connection; it may require a client certificate";
  return std::system_category().message(error);
}

std::string TlsFailure(std::string_view line) {
  if (!line.starts_with("OpenSSL Error")) return std::string(line);
  const std::size_t end = line.rfind(':');
  const std::string what(line.substr(end + 1));
  // OpenSSL's words for a peer that leaves without a farewell.
  if (what == "unexpected eof while reading") return "the broker ended the connection";
  return "TLS: " + what;
}

}  // namespace yoxd
