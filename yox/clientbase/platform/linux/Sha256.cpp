#include "yox/clientbase/platform/Sha256.h"

#include <openssl/evp.h>

#include <memory>
#include <new>

namespace YOX::platform {
namespace {

struct Deleter {
  void operator()(EVP_MD* digest) const { EVP_MD_free(digest); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

// Fetching the algorithm and the context costs more than hashing a serial number: once per thread.
struct Hasher {
  std::unique_ptr<EVP_MD, Deleter> algorithm{EVP_MD_fetch(nullptr, "SHA256", nullptr)};
  std::unique_ptr<EVP_MD_CTX, Deleter> context{EVP_MD_CTX_new()};
};

}  // namespace

Sha256Digest Sha256(std::string_view bytes) {
  thread_local Hasher hasher;
  Sha256Digest digest;
  if (EVP_DigestInit_ex2(hasher.context.get(), hasher.algorithm.get(), nullptr) != 1 ||
      EVP_DigestUpdate(hasher.context.get(), bytes.data(), bytes.size()) != 1 ||
      EVP_DigestFinal_ex(hasher.context.get(), digest.data(), nullptr) != 1) {
    throw std::bad_alloc();
  }
  return digest;
}

}  // namespace YOX::platform
