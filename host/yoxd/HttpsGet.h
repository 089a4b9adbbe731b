#pragma once

#include <atomic>
#include <chrono>
#include <string>

#include "host/yoxd/ResponseHeaders.h"
#include "host/yoxd/ServerTrust.h"

namespace yoxd {

struct HttpsRequest {
  std::string url = {};
  std::string etag = {};           // of the document that the caller has; empty: none
  std::string last_modified = {};  // the same
  std::string certificate = {};    // the client's, PEM; empty: none
  std::string key = {};
  Trust trust = {};
  std::chrono::seconds timeout{30};
};

struct HttpsResponse {
  int code = 0;             // the HTTP status; a number below zero: the transfer failed
  std::string reason = {};  // why, when it is neither 200 nor 304
  std::string body = {};
  ResponseHeaders headers = {};
};

// Gets a document of up to 1 MiB; follows no redirection. Blocks until it is there, or the time is
// up, or soon after `stop` is set.
HttpsResponse GetByHttps(const HttpsRequest& request, const std::atomic<bool>& stop);

}  // namespace yoxd
