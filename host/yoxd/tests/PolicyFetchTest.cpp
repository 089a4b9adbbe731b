#include <gtest/gtest.h>

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/PolicyFetch.h"

namespace yoxd {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr minutes kInterval{720};

class PolicyFetchTest : public testing::Test {
 protected:
  // Runs one fetch, of a server that sends this response; returns the time until the next one.
  Moment::duration WaitAfter(const HttpsResponse& response, bool good) {
    response_ = response;
    good_ = good;
    fetch_.FetchNow();
    const auto next = Finish();
    EXPECT_TRUE(next) << "another fetch began at once";
    return next.value_or(now_) - now_;
  }
  // Lets a fetch run to its end; returns when the next one is due.
  std::optional<Moment> Finish() {
    const std::size_t before = received_.size();
    now_ = std::max(now_, *fetch_.Due());
    fetch_.Run(now_);
    EXPECT_EQ(fetch_.Due(), std::nullopt) << "a fetch is running";
    const Moment end = SteadyClock::now() + seconds(60);
    while (received_.size() == before && SteadyClock::now() < end) {
      std::vector<Watched> watched;
      fetch_.Watch(watched);
      WaitFor(watched, milliseconds(1'000));
      fetch_.Run(now_);
    }
    EXPECT_EQ(received_.size(), before + 1);
    return fetch_.Due();
  }

  Moment now_ = SteadyClock::now();
  std::optional<HttpsRequest> request_ = HttpsRequest{};
  HttpsResponse response_;
  bool good_ = true;
  std::vector<HttpsResponse> received_;
  PolicyFetch fetch_{
      kInterval,
      // The chance that the first wait is drawn below a minute is 2 in a million.
      Backoff(hours(8'760), hours(8'760)),
      {.request = [this] { return request_; },
       .done =
           [this](const HttpsResponse& response) {
             received_.push_back(response);
             return good_;
           },
       .get = [this](const HttpsRequest&, const std::atomic<bool>&) { return response_; }}};
};

TEST_F(PolicyFetchTest, TheNextFetchIsAfterTheIntervalOrTheServersAge) {
  EXPECT_EQ(WaitAfter({.code = 200}, true), kInterval);
  EXPECT_EQ(WaitAfter({.code = 200, .headers = {.max_age = seconds(3'600)}}, true), seconds(3'600));
  EXPECT_EQ(WaitAfter({.code = 304, .headers = {.max_age = seconds(1)}}, true), seconds(60));
}

TEST_F(PolicyFetchTest, AFailureIsFollowedByTheBackOff) {
  const auto wait = WaitAfter({.code = 503, .headers = {.max_age = seconds(1)}}, false);
  EXPECT_GT(wait, seconds(60));
  EXPECT_LE(wait, hours(8'760));
}

TEST_F(PolicyFetchTest, WithoutARequestThereIsNoFetchUntilAsked) {
  request_ = std::nullopt;
  EXPECT_EQ(fetch_.Due(), std::nullopt);
  fetch_.FetchNow();
  fetch_.Run(*fetch_.Due());
  EXPECT_EQ(fetch_.Due(), std::nullopt);
  EXPECT_TRUE(received_.empty());
}

TEST(GetByHttpsTest, AUrlOfAnotherSchemeIsRefused) {
  const std::atomic<bool> stop{false};
  for (const std::string url :
       {"http://127.0.0.1:1/policy", "file:///etc/hostname", "ftp://127.0.0.1:1/"}) {
    const HttpsResponse response = GetByHttps({.url = url}, stop);
    EXPECT_LT(response.code, 0) << url;
    EXPECT_EQ(response.reason, "expected https://HOST[:PORT]/..., found " + url);
    EXPECT_EQ(response.body, "");
  }
}

}  // namespace
}  // namespace yoxd
