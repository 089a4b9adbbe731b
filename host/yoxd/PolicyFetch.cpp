#include "host/yoxd/PolicyFetch.h"

#include <curl/curl.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <string_view>
#include <thread>
#include <utility>

#include "yox/platform/waits/Event.h"

namespace yoxd {
namespace {

constexpr std::size_t kLongestBody = std::size_t{1} << 20;
constexpr std::size_t kLongestHeaders = std::size_t{64} << 10;
// Bounds of what a server may ask for by max-age.
constexpr std::chrono::seconds kShortestAge = std::chrono::minutes(1);
constexpr std::chrono::seconds kLongestAge = std::chrono::days(7);

std::string Lower(std::string text) {
  std::ranges::transform(text, text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
  });
  return text;
}

bool Contains(const std::vector<std::string>& list, const std::string& text) {
  return std::ranges::any_of(list,
                             [&](const std::string& entry) { return Lower(entry) == Lower(text); });
}

std::string Thumbprint(const X509* certificate) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  if (X509_digest(certificate, EVP_sha256(), digest.data(), &size) != 1) return {};
  std::string text;
  for (unsigned i = 0; i < size; ++i) {
    text += "0123456789abcdef"[digest[i] >> 4];
    text += "0123456789abcdef"[digest[i] & 15];
  }
  return text;
}

std::string CommonName(const X509* certificate) {
  std::array<char, 256> text{};
  const int size = X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName,
                                             text.data(), static_cast<int>(text.size()));
  return size > 0 ? std::string(text.data(), static_cast<std::size_t>(size)) : std::string();
}

bool IsSelfSigned(X509* certificate) {
  return X509_check_issued(certificate, certificate) == X509_V_OK;
}

// What the check of a certificate chain needs, and why it failed.
struct Check {
  const Trust& trust;
  std::string refusal;
};

// Replaces OpenSSL's verification of the chain: X509_verify_cert does it as ever, before and after
// what `Trust` asks for. The host's name is compared by the transfer library.
int VerifyChain(X509_STORE_CTX* context, void* argument) {
  auto& check = *static_cast<Check*>(argument);
  if (check.trust.allow_self_signed) {
    const STACK_OF(X509)* const sent = X509_STORE_CTX_get0_untrusted(context);
    for (int i = 0; i < sk_X509_num(sent); ++i) {
      X509* const certificate = sk_X509_value(sent, i);
      if (IsSelfSigned(certificate) && Contains(check.trust.roots, Thumbprint(certificate))) {
        X509_STORE_add_cert(X509_STORE_CTX_get0_store(context), certificate);
      }
    }
  }
  const auto refuse = [&](const std::string& why) {
    check.refusal = "the server's certificate is refused: " + why;
    X509_STORE_CTX_set_error(context, X509_V_ERR_APPLICATION_VERIFICATION);
    return 0;
  };
  if (X509_verify_cert(context) != 1) {
    check.refusal = std::string("the server's certificate is refused: ") +
                    X509_verify_cert_error_string(X509_STORE_CTX_get_error(context));
    return 0;
  }
  const STACK_OF(X509)* const chain = X509_STORE_CTX_get0_chain(context);
  const int size = sk_X509_num(chain);
  if (size < 1) return refuse("no chain");
  if (!Contains(check.trust.roots, Thumbprint(sk_X509_value(chain, size - 1)))) {
    return refuse("its root is not in the policy's list");
  }
  if (!check.trust.common_names.empty() &&
      !Contains(check.trust.common_names, CommonName(sk_X509_value(chain, 0)))) {
    return refuse("its common name is not in the policy's list");
  }
  return 1;
}

CURLcode PrepareContext(CURL* /*handle*/, void* context, void* check) {
  SSL_CTX_set_cert_verify_callback(static_cast<SSL_CTX*>(context), VerifyChain, check);
  return CURLE_OK;
}

struct Body {
  std::string text;
  std::size_t headers = 0;
  std::string etag;
  std::string last_modified;
  std::optional<std::chrono::seconds> max_age;
};

std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* argument) {
  auto& body = *static_cast<Body*>(argument);
  const std::size_t bytes = size * count;
  if (body.text.size() + bytes > kLongestBody) return 0;  // ends the transfer
  body.text.append(data, bytes);
  return bytes;
}

std::optional<std::chrono::seconds> MaxAge(const std::string& value) {
  if (value.find("no-cache") != std::string::npos || value.find("no-store") != std::string::npos) {
    return std::chrono::seconds(0);
  }
  constexpr std::string_view kName = "max-age=";
  const std::size_t at = value.find(kName);
  if (at == std::string::npos) return std::nullopt;
  std::int64_t seconds = 0;
  const char* const begin = value.data() + at + kName.size();
  const auto [stop, error] = std::from_chars(begin, value.data() + value.size(), seconds);
  if (error != std::errc() || seconds < 0) return std::nullopt;
  return std::chrono::seconds(seconds);
}

std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* argument) {
  auto& body = *static_cast<Body*>(argument);
  const std::size_t bytes = size * count;
  body.headers += bytes;
  if (body.headers > kLongestHeaders) return 0;
  std::string_view line(data, bytes);
  while (!line.empty() && (line.back() == '\r' || line.back() == '\n' || line.back() == ' ')) {
    line.remove_suffix(1);
  }
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return bytes;
  const std::string name = Lower(std::string(line.substr(0, colon)));
  std::string_view value = line.substr(colon + 1);
  while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.remove_prefix(1);
  if (name == "etag") body.etag = value;
  if (name == "last-modified") body.last_modified = value;
  if (name == "cache-control") body.max_age = MaxAge(Lower(std::string(value)));
  return bytes;
}

PolicyFetch::Result FetchNow(const PolicyFetch::Request& request, const std::atomic<bool>& stop) {
  PolicyFetch::Result result;
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(curl_easy_init(),
                                                                   &curl_easy_cleanup);
  if (!handle) return {.code = -CURLE_FAILED_INIT, .reason = "the HTTPS library does not start"};
  curl_slist* headers = nullptr;
  const auto add = [&](const std::string& line) {
    headers = curl_slist_append(headers, line.c_str());
  };
  add("Accept: application/json");
  if (!request.etag.empty()) add("If-None-Match: " + request.etag);
  if (!request.last_modified.empty()) add("If-Modified-Since: " + request.last_modified);
  Body body;
  Check check{request.trust, {}};
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
  result.etag = std::move(body.etag);
  result.last_modified = std::move(body.last_modified);
  result.max_age = body.max_age;
  return result;
}

}  // namespace

struct PolicyFetch::Transfer {
  yox::platform::Event done;
  std::atomic<bool> stop{false};
  Result result;
  std::thread thread;

  explicit Transfer(Request request) {
    thread = std::thread([this, request = std::move(request)] {
      result = FetchNow(request, stop);
      done.Set();
    });
  }
  ~Transfer() {
    stop = true;
    thread.join();
  }
};

PolicyFetch::PolicyFetch(std::chrono::minutes interval, Backoff backoff,
                         std::function<std::optional<Request>()> request,
                         std::function<bool(const Result&)> done)
    : interval_(interval), backoff_(backoff), request_(std::move(request)), done_(std::move(done)) {
  static const CURLcode initialized = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (initialized != CURLE_OK) throw std::runtime_error("the HTTPS library does not start");
}

PolicyFetch::~PolicyFetch() = default;

void PolicyFetch::Hurry() { next_ = SteadyClock::now(); }

void PolicyFetch::Watch(std::vector<Watched>& watched) {
  if (transfer_) watched.push_back({transfer_->done.handle().native(), true, false, {}});
}

std::optional<Moment> PolicyFetch::Due() const { return transfer_ ? std::nullopt : next_; }

void PolicyFetch::Run(Moment now) {
  if (transfer_ && transfer_->done.IsSet()) {
    const Result result = transfer_->result;
    transfer_.reset();
    std::chrono::milliseconds wait;
    if (done_(result)) {
      backoff_.Reset();
      wait = result.max_age ? std::clamp(*result.max_age, kShortestAge, kLongestAge)
                            : std::chrono::seconds(interval_);
    } else {
      wait = backoff_.Next();
    }
    next_ = now + wait;
  }
  if (transfer_ || !next_ || now < *next_) return;
  next_.reset();
  if (auto request = request_()) transfer_ = std::make_unique<Transfer>(std::move(*request));
}

}  // namespace yoxd
