#pragma once

#include "yox/platform/files/Files.h"

namespace yox_test {

// Another platform's files, of which a test overrides what it wants to be different. `files` must
// outlive the object.
class ForwardingFiles : public yox::platform::Files {
 public:
  explicit ForwardingFiles(yox::platform::Files& files) : files_(files) {}

  yox::WString CommonApplicationDataPath() const override {
    return files_.CommonApplicationDataPath();
  }
  std::optional<yox::WString> ApplicationDataRoot() const override {
    return files_.ApplicationDataRoot();
  }
  yox::WString SystemDirectory() const override { return files_.SystemDirectory(); }
  yox::WString ProductDirectory() const override { return files_.ProductDirectory(); }
  std::filesystem::path Locate(yox::WStringView path) const override { return files_.Locate(path); }
  bool CreatePrivate(const std::filesystem::path& file) override {
    return files_.CreatePrivate(file);
  }
  bool Grant(const std::filesystem::path& file, std::span<const yox::AccessGrant> grants,
             bool replace) override {
    return files_.Grant(file, grants, replace);
  }
  std::optional<std::string> ReadTrusted(const std::filesystem::path& file,
                                         std::size_t limit) override {
    return files_.ReadTrusted(file, limit);
  }

 private:
  yox::platform::Files& files_;
};

}  // namespace yox_test
