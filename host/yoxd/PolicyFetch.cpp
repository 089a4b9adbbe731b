#include "host/yoxd/PolicyFetch.h"

#include <atomic>
#include <thread>
#include <utility>

#include "yox/platform/waits/Event.h"

namespace yoxd {

struct PolicyFetch::Transfer {
  yox::platform::Event done;
  std::atomic<bool> stop{false};
  HttpsResponse response;
  std::thread thread;

  Transfer(const Get& get, HttpsRequest request) {
    thread = std::thread([this, get, request = std::move(request)] {
      response = get(request, stop);
      done.Set();
    });
  }
  ~Transfer() {
    stop = true;
    if (thread.joinable()) thread.join();
  }

  // Once it is done. Waits for the thread's end, which orders what it wrote before what is read.
  HttpsResponse Take() {
    thread.join();
    return std::move(response);
  }
};

PolicyFetch::PolicyFetch(std::chrono::minutes interval, Backoff backoff, Handlers handlers)
    : interval_(interval), backoff_(backoff), handlers_(std::move(handlers)) {}

PolicyFetch::~PolicyFetch() = default;

void PolicyFetch::FetchNow() { next_ = SteadyClock::now(); }

void PolicyFetch::Watch(std::vector<Watched>& watched) {
  if (transfer_) watched.push_back({transfer_->done.handle().native(), true, false, {}});
}

std::optional<Moment> PolicyFetch::Due() const { return transfer_ ? std::nullopt : next_; }

void PolicyFetch::Run(Moment now) {
  if (transfer_ && transfer_->done.IsSet()) {
    const HttpsResponse response = transfer_->Take();
    transfer_.reset();
    if (handlers_.done(response)) {
      backoff_.Reset();
      next_ = now + FetchAgainAfter(response.headers.max_age, interval_);
    } else {
      next_ = now + backoff_.Next();
    }
  }
  if (transfer_ || !next_ || now < *next_) return;
  next_.reset();
  if (auto request = handlers_.request()) {
    transfer_ = std::make_unique<Transfer>(handlers_.get, std::move(*request));
  }
}

}  // namespace yoxd
