#include "yox/platform/crypto/Sha1.h"

#include <openssl/evp.h>

#include <new>

namespace yox::platform {

Sha1Digest Sha1(std::string_view bytes) {
  Sha1Digest digest;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, EVP_sha1(), nullptr) != 1) {
    throw std::bad_alloc();
  }
  return digest;
}

}  // namespace yox::platform
