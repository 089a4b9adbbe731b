#pragma once

#include "yox/platform/files/Files.h"

namespace yox::platform {

// Files of a Linux system. All folders but that of the state are below `root`, which a test sets;
// "C:\" is etc/yox there. The state is in /var/lib/yox for root, and below XDG_STATE_HOME or
// ~/.local/state for other users.
class YOX_API LinuxFiles final : public Files {
 public:
  explicit LinuxFiles(std::filesystem::path root = "/");

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
  WString Below(const std::filesystem::path& folder) const;

  const std::filesystem::path root_;
};

}  // namespace yox::platform
