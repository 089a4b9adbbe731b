#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/platform/users/AccessGrants.h"

namespace yox::platform {

// Where the library's files are, and who may open them. All operations may be called from any
// thread.
//
// Paths are UTF-16 texts with the separators of this system: a name that a user gave is never
// changed. What the library's own code appends to one of the four folders here, it writes with
// backslashes and turns into this form by NativePath (PathText.h). Folders come without a separator
// at the end, and the functions create none.
class YOX_API Files {
 public:
  virtual ~Files() = default;

  // The machine-wide folder for the data of all programs.
  virtual WString CommonApplicationDataPath() const = 0;
  // The folder of this client's own state, which is kept over restarts; std::nullopt if this
  // account has no place for it. The environment variable YOX_STATE_DIR overrides the system's
  // choice.
  virtual std::optional<WString> ApplicationDataRoot() const = 0;
  // The folder of the system's libraries; outside Windows that of this library.
  virtual WString SystemDirectory() const = 0;
  // The folder of the files that ship with the product.
  virtual WString ProductDirectory() const = 0;

  // The path on this machine. It is the path itself, but for what begins with "C:\", the root
  // directory of the device, where the provision file may be: outside Windows that is the product's
  // folder of configuration files, and separators below it may be backslashes.
  virtual std::filesystem::path Locate(WStringView path) const = 0;

  // Creates an empty file that from its creation on only this account, and on Windows also the
  // administrators and the local system, can open. Returns false if the name is taken or the file
  // cannot be created.
  virtual bool CreatePrivate(const std::filesystem::path& file) = 0;

  // Lets the accounts of the grants open the file, in addition to those that could before, or, with
  // `replace`, instead of them and of those that would inherit access from the folder. Outside
  // Windows, administrators and local system mean the file's owner; every other account loses its
  // access in both cases, and grants to other accounts are refused. Returns false if it cannot be
  // done; the file is then as before.
  virtual bool Grant(const std::filesystem::path& file, std::span<const AccessGrant> grants,
                     bool replace) = 0;

  // Reads a whole file that only trusted accounts can have written. Returns std::nullopt if it is
  // missing, larger than `limit` bytes, not a regular file, or not trusted; the last is logged. On
  // Linux a file is trusted that belongs to root or to this process's account and that no group or
  // other account may write; on Windows one that belongs to the system or to an administrator. All
  // of a simulated device's files are trusted.
  virtual std::optional<std::string> ReadTrusted(const std::filesystem::path& file,
                                                 std::size_t limit) = 0;
};

}  // namespace yox::platform
