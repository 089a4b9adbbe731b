#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "host/yoxd/Backoff.h"
#include "host/yoxd/HttpsGet.h"
#include "host/yoxd/Part.h"

namespace yoxd {

// Fetches a document over HTTPS at intervals, on a thread of its own, with the caching headers of
// HTTP: what has not changed is not sent again, and `Cache-Control: max-age` sets the next time.
// After a failure it waits as `Backoff` says.
class PolicyFetch final : public Part {
 public:
  using Get = std::function<HttpsResponse(const HttpsRequest&, const std::atomic<bool>& stop)>;

  // What is called on the service's thread; `get` on the other one.
  struct Handlers {
    // What to fetch; std::nullopt: nothing, until the next FetchNow.
    std::function<std::optional<HttpsRequest>()> request;
    // Gets each response and returns whether it was good.
    std::function<bool(const HttpsResponse&)> done;
    Get get = GetByHttps;
  };

  PolicyFetch(std::chrono::minutes interval, Backoff backoff, Handlers handlers);
  ~PolicyFetch() override;

  // Fetches now.
  void FetchNow();

  void Watch(std::vector<Watched>& watched) override;
  std::optional<Moment> Due() const override;
  void Run(Moment now) override;

 private:
  struct Transfer;

  const std::chrono::minutes interval_;
  Backoff backoff_;
  const Handlers handlers_;
  std::optional<Moment> next_;
  std::unique_ptr<Transfer> transfer_;
};

}  // namespace yoxd
