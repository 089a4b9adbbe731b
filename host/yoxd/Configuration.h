#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace yoxd {

// The service's settings. A member that the configuration file does not name keeps the value here.
// Paths and texts are UTF-8; an empty text is one that is not set.
struct Configuration {
  std::string device_id;           // empty: a random one that is created at the first start
  std::string policy_file;         // read at every start in place of the provision file
  std::string client_certificate;  // PEM; empty: client.pem in the folder of certificates
  std::string client_key;          // PEM; empty: client.key there
  std::string topic_prefix = "yox";
  std::string mqtt_version = "5";  // or "3.1.1"
  std::string status_socket;       // empty: yoxd.sock in the runtime directory or the state folder
  std::string status_group;        // whose members may open the socket, besides the account itself
  std::int64_t keep_alive_seconds = 60;
  std::int64_t reconnect_first_milliseconds = 1'000;
  std::int64_t reconnect_most_seconds = 300;
  std::int64_t queue_messages = 1'000;
  std::int64_t queue_bytes = 4 << 20;
  std::int64_t policy_interval_minutes = 720;
  std::int64_t policy_timeout_seconds = 30;
  std::int64_t session_hours = 24;  // how long the broker keeps what could not be delivered
  bool queue_on_disk = false;
};

// Reads the configuration file, a JSON object in UTF-8 (docs/yoxd.md). Throws yox::DocumentError
// with the key of what is wrong: JSON syntax, an unknown key, a value of the wrong type or out of
// range.
Configuration ReadConfiguration(std::string_view utf8);

}  // namespace yoxd
