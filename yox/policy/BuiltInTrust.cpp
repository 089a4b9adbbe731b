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

constexpr bool HasThumbprintsSize(const TrustedRoot& root) { return root.thumbprint.size() == 64; }

constexpr bool IsHexadecimal(const TrustedRoot& root) {
  return root.thumbprint.find_first_not_of("0123456789abcdef"_wv) == yox::WStringView::npos;
}

static_assert(std::size(kTrustedRoots) == 33, "the library trusts 33 roots");
static_assert(std::ranges::all_of(kTrustedRoots, HasThumbprintsSize), "a thumbprint has 64 digits");
static_assert(std::ranges::all_of(kTrustedRoots, IsHexadecimal),
              "a thumbprint's digits are hexadecimal, in lower case");
static_assert(!kPublicKey.empty());

}  // namespace

std::span<const TrustedRoot> TrustedRoots() { return kTrustedRoots; }

yox::WStringView PublicKey() { return kPublicKey; }

}  // namespace yox::policy
