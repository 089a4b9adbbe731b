#include "yox/platform/crypto/Sha1.h"

#include <windows.h>
// bcrypt.h needs windows.h before it.
#include <bcrypt.h>

#include <new>

namespace yox::platform {

Sha1Digest Sha1(std::string_view bytes) {
  Sha1Digest digest;
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA1_ALGORITHM, nullptr, 0);
  auto* const input = reinterpret_cast<PUCHAR>(const_cast<char*>(bytes.data()));
  const NTSTATUS status = BCryptHash(algorithm, nullptr, 0, input, static_cast<ULONG>(bytes.size()),
                                     digest.data(), static_cast<ULONG>(digest.size()));
  if (algorithm != nullptr) BCryptCloseAlgorithmProvider(algorithm, 0);
  if (status != 0) throw std::bad_alloc();
  return digest;
}

}  // namespace yox::platform
