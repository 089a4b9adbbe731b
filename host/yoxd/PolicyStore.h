#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "yox/policy/PlatformPolicy.h"

#include "host/yoxd/Configuration.h"
#include "host/yoxd/Endpoint.h"
#include "host/yoxd/StateFolder.h"

namespace yoxd {

// The policies that the service has: the one that it was provisioned with, and what the policy
// service sent later. Both are kept over restarts.
class PolicyStore {
 public:
  // What the policy service sent, and by which it recognises it.
  struct Response {
    std::string body;
    std::string url;
    std::string etag;
    std::string last_modified;
    std::int64_t fetched = 0;  // the device's time
  };

  PolicyStore(StateFolder& folder, const Configuration& configuration);

  // Reads the configured policy file, or, without a stored policy, runs the provision file through
  // its steps. Returns whether there is a policy; `problem` is then empty. Reports the problem when
  // it is another one than before.
  bool Provision();
  // The step that failed and why: "check the token: it has expired".
  const std::string& problem() const { return problem_; }
  bool provisioned() const { return !base_.empty(); }

  // Keeps a response. Returns false, with the reason, when it is no policy document.
  bool Receive(const Response& response, std::string& why);
  const std::optional<Response>& response() const { return response_; }

  // Accumulates the documents and the built-in trust, and brings the certificate files in line.
  PlatformPolicy Effective();
  // The broker of a policy and the certificates for it; std::nullopt, with the reason, without one.
  std::optional<Endpoint> Broker(const PlatformPolicy& policy, std::string& why) const;
  // The URL of the policy service; empty if the policy names none.
  std::string Url(const PlatformPolicy& policy) const;
  // The client's certificate and key; empty when there is none.
  std::string certificate() const {
    return FirstThere(configuration_.client_certificate, "client.pem");
  }
  std::string key() const { return FirstThere(configuration_.client_key, "client.key"); }

 private:
  // Each step returns why it failed; an empty text if it did not.
  std::string RunSteps();
  std::string Adopt(const std::string& text);
  static std::string FirstThere(const std::string& configured, const char* name);

  StateFolder& folder_;
  const Configuration& configuration_;
  std::string base_;
  std::optional<Response> response_;
  std::string problem_;
};

}  // namespace yoxd
