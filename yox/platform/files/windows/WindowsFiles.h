#pragma once

#include "yox/platform/files/Files.h"

namespace yox::platform {

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
};

}  // namespace yox::platform
