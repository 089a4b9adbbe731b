#pragma once

#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/files/Files.h"

namespace yox::platform {

// The files of a simulated device, in one folder of this machine: the device's four folders and its
// root directory "C:\" are in it. Any other path is one of this machine. Every operation may be
// called from any thread.
class YOX_API SimulatedFiles final : public Files {
 public:
  struct Granted {
    std::filesystem::path file;
    std::vector<AccessGrant> grants;
    bool replace = false;
  };

  // A private temporary folder, created when it is first needed and deleted with the object.
  SimulatedFiles() = default;
  // A folder of the caller's, which is not deleted.
  explicit SimulatedFiles(std::filesystem::path folder);
  ~SimulatedFiles() override;
  SimulatedFiles(const SimulatedFiles&) = delete;
  SimulatedFiles& operator=(const SimulatedFiles&) = delete;

  WString CommonApplicationDataPath() const override;
  std::optional<WString> ApplicationDataRoot() const override;
  WString SystemDirectory() const override;
  WString ProductDirectory() const override;
  std::filesystem::path Locate(WStringView path) const override;
  // Done to the file as this machine does it.
  bool CreatePrivate(const std::filesystem::path& file) override;
  bool Grant(const std::filesystem::path& file, std::span<const AccessGrant> grants,
             bool replace) override;
  std::optional<std::string> ReadTrusted(const std::filesystem::path& file,
                                         std::size_t limit) override;

  // Throws std::filesystem::filesystem_error when a temporary folder cannot be created.
  std::filesystem::path folder() const;

  // The calls of Grant so far, in order.
  std::vector<Granted> Grants() const;
  // Whether ApplicationDataRoot returns a folder from now on.
  void SetStateFolder(bool exists);

 private:
  const bool temporary_ = true;
  mutable yox::Mutex mutex_;
  mutable std::filesystem::path folder_ YOX_GUARDED_BY(mutex_);  // empty until it is needed
  std::vector<Granted> grants_ YOX_GUARDED_BY(mutex_);
  bool has_state_folder_ YOX_GUARDED_BY(mutex_) = true;
};

}  // namespace yox::platform
