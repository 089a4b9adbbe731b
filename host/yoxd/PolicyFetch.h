#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/yoxd/Backoff.h"
#include "host/yoxd/Part.h"

namespace yoxd {

// How a server of the policy is trusted. The certificate chain has to be valid, its root has to be
// in the system's store and its leaf has to name the host; and the root's SHA-256 thumbprint has to
// be in `roots`. If `common_names` is not empty, it has to contain the leaf's common name. With
// `allow_self_signed` a root that is in `roots` need not be in the system's store; all else is
// checked as before.
struct Trust {
  std::vector<std::string> roots;  // hexadecimal digits
  std::vector<std::string> common_names;
  bool allow_self_signed = false;
};

// Fetches a document over HTTPS at intervals, on a thread of its own, with the caching headers of
// HTTP: what has not changed is not sent again, and `Cache-Control: max-age` sets the next time.
class PolicyFetch final : public Part {
 public:
  struct Request {
    std::string url;
    std::string etag;           // of the document that the caller has; empty: none
    std::string last_modified;  // the same
    std::string certificate;    // the client's, PEM; empty: none
    std::string key;
    Trust trust;
    std::chrono::seconds timeout{30};
  };
  struct Result {
    int code = 0;             // the HTTP status; a number below zero: the transfer failed
    std::string reason = {};  // why, when it is neither 200 nor 304
    std::string body = {};
    std::string etag = {};
    std::string last_modified = {};
    std::optional<std::chrono::seconds> max_age = {};
  };

  // `request` says what to fetch, or std::nullopt if there is nothing. `done` gets each result and
  // returns whether it was good.
  PolicyFetch(std::chrono::minutes interval, Backoff backoff,
              std::function<std::optional<Request>()> request,
              std::function<bool(const Result&)> done);
  ~PolicyFetch() override;

  // Fetches now.
  void Hurry();

  void Watch(std::vector<Watched>& watched) override;
  std::optional<Moment> Due() const override;
  void Run(Moment now) override;

 private:
  struct Transfer;

  const std::chrono::minutes interval_;
  Backoff backoff_;
  const std::function<std::optional<Request>()> request_;
  const std::function<bool(const Result&)> done_;
  std::optional<Moment> next_;
  std::unique_ptr<Transfer> transfer_;
};

}  // namespace yoxd
