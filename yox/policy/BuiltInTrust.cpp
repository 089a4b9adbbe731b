#include "yox/policy/BuiltInTrust.h"

#include <algorithm>
#include <iterator>

namespace yox::policy {
namespace {

using namespace yox::literals;

// Files of the folder that YOX_TRUST_DIRECTORY names.
constexpr TrustedRoot kTrustedRoots[] = {
#include "TrustedRoots.inc"
};

constexpr yox::WStringView kPublicKey =
#include "PublicKey.inc"
    ;

constexpr bool IsThumbprint(const TrustedRoot& root) {
  return root.thumbprint.size() == 64 && std::ranges::all_of(root.thumbprint, [](yox::WChar unit) {
           return (unit >= '0' && unit <= '9') || (unit >= 'a' && unit <= 'f');
         });
}

static_assert(std::size(kTrustedRoots) == 33, "the library trusts 33 roots");
static_assert(std::ranges::all_of(kTrustedRoots, IsThumbprint),
              "a thumbprint has 64 lower-case hexadecimal digits");
static_assert(!kPublicKey.empty());

}  // namespace

std::span<const TrustedRoot> TrustedRoots() { return kTrustedRoots; }

yox::WStringView PublicKey() { return kPublicKey; }

}  // namespace yox::policy
