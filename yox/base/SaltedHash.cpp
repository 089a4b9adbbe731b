#include "yox/base/SaltedHash.h"

#include "yox/base/Sha256.h"
#include "yox/base/ThreadSlot.h"

namespace YOX::utility {
namespace {

// Changing the salt moves every device to another bucket.
constexpr std::string_view kSalt = "Tervan.YOX.Rollout.1|";

struct LastHash {
  std::string salted{kSalt};
  std::string hash;
};

}  // namespace

std::string SHA256WithSalt(std::string_view text) {
  // Most calls on a device are for the same text, its own serial number.
  auto& last = yox::ThreadOwned<LastHash>();
  const std::string_view former = std::string_view(last.salted).substr(kSalt.size());
  if (last.hash.empty() || former != text) {
    last.hash.clear();
    last.salted.resize(kSalt.size());
    last.salted += text;
    const yox::Sha256Digest digest = yox::Sha256(last.salted);
    last.hash.reserve(2 * digest.size());
    for (const unsigned byte : digest) {
      last.hash += "0123456789abcdef"[byte >> 4];
      last.hash += "0123456789abcdef"[byte & 0xF];
    }
  }
  return last.hash;
}

}  // namespace YOX::utility
