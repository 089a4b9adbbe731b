#include "yox/clientbase/platform/Sha256.h"

#include <windows.h>
// bcrypt.h needs windows.h before it.
#include <bcrypt.h>

#include <new>

namespace YOX::platform {

Sha256Digest Sha256(std::string_view bytes) {
  static const BCRYPT_ALG_HANDLE algorithm = [] {
    BCRYPT_ALG_HANDLE handle = nullptr;
    BCryptOpenAlgorithmProvider(&handle, BCRYPT_SHA256_ALGORITHM, nullptr, 0);
    return handle;
  }();
  Sha256Digest digest;
  auto* const input = reinterpret_cast<PUCHAR>(const_cast<char*>(bytes.data()));
  if (BCryptHash(algorithm, nullptr, 0, input, static_cast<ULONG>(bytes.size()), digest.data(),
                 static_cast<ULONG>(digest.size())) != 0) {
    throw std::bad_alloc();
  }
  return digest;
}

}  // namespace YOX::platform
