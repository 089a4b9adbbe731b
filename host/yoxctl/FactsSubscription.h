#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace yoxctl {

// The facts documents that devices publish to an MQTT broker, those that it has kept first. The
// connection uses TLS, and the broker's certificate has to name its host.
class FactsSubscription {
 public:
  struct Options {
    std::string url;  // mqtts://HOST[:PORT]
    std::string ca_file;
    std::optional<std::string> certificate;
    std::optional<std::string> key;
    std::string prefix = "yox";
  };

  // Connects. Throws Refusal, with the broker, when it cannot.
  explicit FactsSubscription(const Options& options);
  ~FactsSubscription();
  FactsSubscription(const FactsSubscription&) = delete;
  FactsSubscription& operator=(const FactsSubscription&) = delete;

  // Returns the next device's identifier with its document; std::nullopt after so many seconds
  // without one. Throws Refusal when the connection is lost.
  std::optional<std::pair<std::string, std::string>> Next(std::size_t quiet_seconds);

 private:
  struct Client;
  std::unique_ptr<Client> client_;
};

}  // namespace yoxctl
