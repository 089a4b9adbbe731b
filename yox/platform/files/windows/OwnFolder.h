#pragma once

#include <functional>
#include <optional>

#include "yox/base/WString.h"

// Every user may create files and folders in ProgramData, and owns what he has created there. These
// functions tell such files from those of the system and its administrators.
namespace yox::platform {

// Whether files of an account may be believed: the system's, its installer's and the
// administrators', and this process's own if it is elevated. Accounts are security identifiers.
bool IsTrustedOwner(WStringView owner, WStringView own_account, bool elevated);
bool IsTrustedOwner(const WString& owner);  // for this process

// The owner of an open file or folder; empty if it cannot be read.
WString OwnerOf(void* handle);

// Makes sure that the folder exists and belongs to a trusted account. A missing one is created with
// the access list `descriptor` (in SDDL) from its first moment. One that belongs to another
// account, or leads elsewhere, is renamed to "<path>.untrusted-<number>", and a new one is created.
// Returns false, and logs the reason, if that cannot be done. The folder above must exist.
bool ClaimFolder(
    const WString& path, const wchar_t* descriptor,
    const std::function<bool(const WString& owner)>& is_trusted = [](const WString& owner) {
      return IsTrustedOwner(owner);
    });

}  // namespace yox::platform
