#include "host/yoxd/HttpsGet.h"

#include <curl/curl.h>
#include <openssl/ssl.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "yox/base/Printable.h"

#include "host/yoxd/HostSystem.h"

namespace yoxd {
namespace {

constexpr std::size_t kLongestBody = std::size_t{1} << 20;
constexpr std::size_t kLongestHeaders = std::size_t{64} << 10;

CURLcode PrepareContext(CURL* /*handle*/, void* context, void* check) {
  SSL_CTX_set_cert_verify_callback(static_cast<SSL_CTX*>(context), VerifyChain, check);
  return CURLE_OK;
}

struct Body {
  std::string text;
  ResponseHeaders headers;
  std::size_t header_bytes = 0;
};

std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* argument) {
  auto& body = *static_cast<Body*>(argument);
  const std::size_t bytes = size * count;
  if (body.text.size() + bytes > kLongestBody) return 0;  // ends the transfer
  body.text.append(data, bytes);
  return bytes;
}

std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* argument) {
  auto& body = *static_cast<Body*>(argument);
  const std::size_t bytes = size * count;
  body.header_bytes += bytes;
  if (body.header_bytes > kLongestHeaders) return 0;
  body.headers.Read({data, bytes});
  return bytes;
}

}  // namespace

HttpsResponse GetByHttps(const HttpsRequest& request, const std::atomic<bool>& stop) {
  static const CURLcode initialized = curl_global_init(CURL_GLOBAL_DEFAULT);
  HttpsResponse result;
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(curl_easy_init(),
                                                                   &curl_easy_cleanup);
  if (initialized != CURLE_OK || !handle)
    return {.code = -CURLE_FAILED_INIT, .reason = "the HTTPS library does not start"};
  if (!request.certificate.empty()) {
    if (std::string why = WhyKeyIsRefused(request.key); !why.empty()) {
      return {.code = -CURLE_SSL_CERTPROBLEM, .reason = std::move(why)};
    }
  }
  curl_slist* headers = nullptr;
  const auto add = [&](const std::string& line) {
    headers = curl_slist_append(headers, line.c_str());
  };
  add("Accept: application/json");
  if (!request.etag.empty()) add("If-None-Match: " + request.etag);
  if (!request.last_modified.empty()) add("If-Modified-Since: " + request.last_modified);
  Body body;
  ChainCheck check{request.trust};
  std::array<char, CURL_ERROR_SIZE> error{};
  const auto set = [&](CURLoption option, auto value) {
    curl_easy_setopt(handle.get(), option, value);
  };
  set(CURLOPT_URL, request.url.c_str());
  set(CURLOPT_PROTOCOLS_STR, "https");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_CA_CACHE_TIMEOUT, 0L);  // the store is this transfer's own: VerifyChain adds to it
  set(CURLOPT_SSL_CTX_FUNCTION, PrepareContext);
  set(CURLOPT_SSL_CTX_DATA, &check);
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_TIMEOUT, static_cast<long>(request.timeout.count()));
  set(CURLOPT_HTTPHEADER, headers);
  set(CURLOPT_WRITEFUNCTION, OnBody);
  set(CURLOPT_WRITEDATA, &body);
  set(CURLOPT_HEADERFUNCTION, OnHeader);
  set(CURLOPT_HEADERDATA, &body);
  set(CURLOPT_ERRORBUFFER, error.data());
  set(CURLOPT_NOPROGRESS, 0L);
  set(CURLOPT_XFERINFODATA, &stop);
  using Progress = int (*)(void*, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
  const Progress progress = [](void* flag, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<const std::atomic<bool>*>(flag)->load() ? 1 : 0;
  };
  set(CURLOPT_XFERINFOFUNCTION, progress);
  if (!request.certificate.empty()) {
    set(CURLOPT_SSLCERT, request.certificate.c_str());
    set(CURLOPT_SSLKEY, request.key.c_str());
  }
  const CURLcode code = curl_easy_perform(handle.get());
  curl_slist_free_all(headers);
  if (code != CURLE_OK) {
    result.code = -static_cast<int>(code);
    result.reason = !check.refusal.empty() ? check.refusal
                    : code == CURLE_UNSUPPORTED_PROTOCOL
                        ? "expected https://HOST[:PORT]/..., found " + yox::Printable(request.url)
                    : body.text.size() > 0 && code == CURLE_WRITE_ERROR
                        ? "the document is longer than 1 MiB"
                    : error[0] != '\0' ? std::string(error.data())
                                       : std::string(curl_easy_strerror(code));
    return result;
  }
  long status = 0;
  curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &status);
  result.code = static_cast<int>(status);
  if (status != 200 && status != 304) result.reason = "HTTP status " + std::to_string(status);
  result.body = std::move(body.text);
  result.headers = std::move(body.headers);
  return result;
}

}  // namespace yoxd
