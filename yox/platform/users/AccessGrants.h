#pragma once

#include <optional>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace yox {

inline constexpr WStringView kAdministratorsSid = "S-1-5-32-544"_wv;
inline constexpr WStringView kLocalSystemSid = "S-1-5-18"_wv;

// What one account may do with a file or folder.
struct AccessGrant {
  WString sid;               // security identifier, "S-1-5-18"
  bool for_files = false;    // (OI): a folder hands it down to its files
  bool for_folders = false;  // (CI): and to its folders
  bool read = false;
  bool write = false;
  bool full = false;  // everything, the grants themselves included

  friend bool operator==(const AccessGrant&, const AccessGrant&) = default;
};

// Reads grants in the form of icacls: "/q /grant *SID:(OI)(CI)F *SID:RW". The rights are F (full),
// R, W, or RW. Returns std::nullopt if the text has another form, or no grant.
YOX_API std::optional<std::vector<AccessGrant>> ParseAccessGrants(WStringView text);

}  // namespace yox
