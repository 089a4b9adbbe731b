#include "yox/platform/users/AccessGrants.h"

#include <string>

#include "yox/base/String.h"

namespace yox {
namespace {

struct Rights {
  WStringView word;
  bool read;
  bool write;
  bool full;
};

constexpr Rights kRights[] = {
    {"F"_wv, true, true, true},
    {"RW"_wv, true, true, false},
    {"R"_wv, true, false, false},
    {"W"_wv, false, true, false},
};

bool Skip(WStringView& text, WStringView prefix) {
  if (!String::StartsWith(text, prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

bool IsSid(WStringView text) {
  return String::StartsWith(text, "S-"_wv) && text.size() > 2 &&
         text.find_first_not_of("0123456789-"_wv, 2) == WStringView::npos;
}

std::optional<AccessGrant> ParseGrant(WStringView text) {
  AccessGrant grant;
  const std::size_t colon = text.find(WChar{':'});
  if (colon == WStringView::npos || !Skip(text, "*"_wv)) return std::nullopt;
  const WStringView sid = text.substr(0, colon - 1);
  if (!IsSid(sid)) return std::nullopt;
  grant.sid = WString(sid);
  text.remove_prefix(colon);
  grant.for_files = Skip(text, "(OI)"_wv);
  grant.for_folders = Skip(text, "(CI)"_wv);
  for (const Rights& rights : kRights) {
    if (text != rights.word) continue;
    grant.read = rights.read;
    grant.write = rights.write;
    grant.full = rights.full;
    return grant;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::vector<AccessGrant>> ParseAccessGrants(WStringView text) {
  Skip(text, "/q "_wv);
  if (!Skip(text, "/grant "_wv)) return std::nullopt;
  std::vector<AccessGrant> grants;
  for (const WString& piece : String::Split(text, WChar{' '})) {
    auto grant = ParseGrant(piece);
    if (!grant) return std::nullopt;
    grants.push_back(*std::move(grant));
  }
  if (grants.empty()) return std::nullopt;
  return grants;
}

}  // namespace yox
