#pragma once

#include <atomic>

#include "yox/platform/files/Files.h"

namespace yox::platform {

// For an elevated process the state folder is in ProgramData, where every user may create folders.
// It is therefore created, when it is first asked for, with an access list of its own, and a folder
// of that name that another account has created is set aside (OwnFolder.h).
class YOX_API WindowsFiles final : public Files {
 public:
  WString CommonApplicationDataPath() const override;
  std::optional<WString> ApplicationDataRoot() const override;
  WString SystemDirectory() const override;
  WString ProductDirectory() const override;
  std::filesystem::path Locate(WStringView path) const override;
  bool CreatePrivate(const std::filesystem::path& file) override;
  bool Grant(const std::filesystem::path& file, std::span<const AccessGrant> grants,
             bool replace) override;
  std::optional<std::string> ReadTrusted(const std::filesystem::path& file,
                                         std::size_t limit) override;

 private:
  mutable std::atomic<bool> claimed_{
      false};  // whether the folder below ProgramData is the product's
};

}  // namespace yox::platform
