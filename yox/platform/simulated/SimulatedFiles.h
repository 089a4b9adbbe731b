#pragma once

#include <mutex>
#include <vector>

#include "yox/platform/files/Files.h"

namespace yox::platform {

// The files of a simulated device, in one folder of this machine. Its four folders and its root
// directory "C:\" lie in there; any other path is one of this machine.
class YOX_API SimulatedFiles final : public Files {
 public:
  struct Granted {
    std::filesystem::path file;
    std::vector<AccessGrant> grants;
    bool replace = false;
  };

  // A private temporary folder, made when it is first asked for and deleted with the object.
  SimulatedFiles() = default;
  // A folder that stays.
  explicit SimulatedFiles(std::filesystem::path folder);
  ~SimulatedFiles() override;
  SimulatedFiles(const SimulatedFiles&) = delete;
  SimulatedFiles& operator=(const SimulatedFiles&) = delete;

  WString CommonApplicationDataPath() const override;
  std::optional<WString> ApplicationDataRoot() const override;
  WString SystemDirectory() const override;
  WString ProductDirectory() const override;
  std::filesystem::path Locate(WStringView path) const override;
  // Both do to the file what this machine does.
  bool CreatePrivate(const std::filesystem::path& file) override;
  bool Grant(const std::filesystem::path& file, std::span<const AccessGrant> grants,
             bool replace) override;
  std::optional<std::string> ReadTrusted(const std::filesystem::path& file,
                                         std::size_t limit) override;

  std::filesystem::path folder() const;

  // Every call of Grant so far, in order.
  std::vector<Granted> Grants() const;
  // From now on there is no state folder, or there is one again.
  void SetStateFolder(bool exists);

 private:
  mutable std::mutex mutex_;
  mutable std::filesystem::path folder_;
  bool temporary_ = true;
  std::vector<Granted> grants_;
  bool has_state_folder_ = true;
};

}  // namespace yox::platform
