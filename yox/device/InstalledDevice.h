#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "yox/base/String.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

namespace yox_test {

inline constexpr char kLaptop[] = R"~({
  "clock": {"now": "2026-03-01T12:00:00", "uptime_seconds": 7200},
  "firmware": {"manufacturer": "Contoso", "family": "Falcon 14", "model_number": " FA14-2210 ",
    "sku": "FALCON14-16-512", "serial_number": "C0FFEE12", "baseboard_serial_number": "BB-000417",
    "enclosure_type": "Notebook", "bios_version": "FAL14 v1.35", "bios_version_short": "1.35",
    "bios_release_date": "2025-11-03", "ec_version": "1.20", "ec_release_date": "2025-10-01",
    "smbios_version": "3.4"},
  "os": {"product_name": "Windows 11 Pro", "edition_id": "Professional",
    "version": "10.0.22631.4460", "caption": "Microsoft Windows 11 Pro", "s_mode": true,
    "architecture": 9, "update_service_start_type": 3,
    "updates": [{"result_code": 2, "title": "2026-02 Cumulative Update",
                 "description": "Fixes.", "categories": ["Windows 11"]}]},
  "region": {"country_code": "US", "country_name": "United States", "region_name": "USA",
    "language_code": "en-US", "language_name": "English (United States)"},
  "user": {"sid": "S-1-5-21-1-2-3-1001"}
})~";

// A simulated device in the place of the machine's own, for a test's duration.
class InstalledDevice {
 public:
  explicit InstalledDevice(std::string_view profile = kLaptop)
      : device_(yox::platform::ReadDeviceProfile(profile)), installed_(device_) {}

  yox::platform::SimulatedDevice* operator->() { return &device_; }
  yox::platform::SimulatedDevice& device() { return device_; }

  // A file of the client's shared folder.
  std::filesystem::path Shared(const std::string& name) {
    return device_.files().Locate(*device_.files().ApplicationDataRoot()) / "Shared" / name;
  }

 private:
  yox::platform::SimulatedDevice device_;
  yox::platform::ScopedPlatform installed_;
};

inline void WriteFile(const std::filesystem::path& path, std::string_view content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The result of a call that must not be made: a failure.
template <class Answer>
Answer Asked() {
  ADD_FAILURE() << "the device was asked";
  return Answer();
}

// Hardware and system for code that must not read them: every call is a failure.
class Untouchable : public yox::platform::Firmware,
                    public yox::platform::OperatingSystem,
                    public yox::platform::ManagementQueries,
                    public yox::platform::Users,
                    public yox::platform::DisplayAdapters {
 public:
  const yox::platform::FirmwareFacts* Facts() override { return Asked<nullptr_t>(); }
  void Reread() override { Asked<int>(); }
  yox::WString ProductName() override { return Asked<yox::WString>(); }
  yox::WString EditionId() override { return Asked<yox::WString>(); }
  yox::WString Version() override { return Asked<yox::WString>(); }
  yox::WString Caption() override { return Asked<yox::WString>(); }
  bool IsSMode() override { return Asked<bool>(); }
  std::uint32_t Architecture() override { return Asked<std::uint32_t>(); }
  std::uint32_t UpdateServiceStartType() override { return Asked<std::uint32_t>(); }
  std::vector<yox::platform::OperatingSystemUpdate> UpdateHistory() override {
    return Asked<std::vector<yox::platform::OperatingSystemUpdate>>();
  }
  std::optional<yox::LocalDate> FirstRunDate() override {
    return Asked<std::optional<yox::LocalDate>>();
  }
  yox::platform::ManagementAnswer Ask(yox::WStringView, yox::WStringView,
                                      yox::WStringView) override {
    return Asked<yox::platform::ManagementAnswer>();
  }
  yox::WString LoggedInUserSid() override { return Asked<yox::WString>(); }
  bool IsSystemProcess() override { return Asked<bool>(); }
  std::optional<std::vector<yox::platform::DisplayAdapter>> Enumerate() override {
    return Asked<std::vector<yox::platform::DisplayAdapter>>();
  }

 private:
  using nullptr_t = yox::platform::FirmwareFacts*;
};

// The same for the other facts.
class UntouchableSurroundings final : public yox::platform::Locale,
                                      public yox::platform::Accelerators,
                                      public yox::platform::Services,
                                      public yox::platform::JoinState {
 public:
  yox::platform::LocaleFacts Facts() override { return Asked<yox::platform::LocaleFacts>(); }
  std::optional<std::vector<yox::platform::Accelerator>> Enumerate() override {
    return Asked<std::vector<yox::platform::Accelerator>>();
  }
  bool IsRunning(yox::WStringView) override { return Asked<bool>(); }
  yox::platform::JoinAnswer Domain() override { return Asked<yox::platform::JoinAnswer>(); }
  yox::platform::JoinAnswer Cloud() override { return Asked<yox::platform::JoinAnswer>(); }
};

// A registry that holds nothing and tells `asked` of every question.
class ToldRegistry final : public yox::platform::Registry {
 public:
  explicit ToldRegistry(std::function<void()> asked) : asked_(std::move(asked)) {}

  using Key = yox::platform::RegistryKey;
  using Status = yox::platform::RegistryStatus;
  Status Open(const Key&, std::uint32_t, HKEY&) override { return Nothing(); }
  void Close(HKEY) override {}
  Status Get(const Key&, yox::WStringView, yox::platform::RegistryValue&) override {
    return Nothing();
  }
  Status Values(const Key&, std::vector<yox::platform::RegistryEntry>&, std::size_t) override {
    return Nothing();
  }
  Status SubKeys(const Key&, std::vector<yox::WString>&) override { return Nothing(); }
  Status Apply(std::span<const yox::platform::RegistryEdit>) override { return Nothing(); }
  Status Watch(const Key&, Changed, std::unique_ptr<yox::platform::RegistryWatch>&) override {
    return Nothing();
  }

 private:
  Status Nothing() {
    asked_();
    return Status::kNotFound;
  }

  std::function<void()> asked_;
};

}  // namespace yox_test
