#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"

class MachineInformation;

namespace YOX {

// The processor's architecture, with the numbers of Win32_Processor.
enum class Architecture : std::uint32_t { x86 = 0, ARM = 5, IA64 = 6, x64 = 9, ARM64 = 12 };

// The device's identity as the client presents it to its servers: what a developer has overridden,
// else what is configured, else the machine record. A process-wide singleton.
//
// Not thread-safe, by design: `Init` and the getters take no lock, and a reader beside an `Init`
// can see a torn text. `GetInstance`, `setForceRefresh` and `GetCPUArchitecture` are safe from any
// thread. Texts are UTF-16, empty until the first `Init`; getters return copies.
class YOX_API DeviceInfoProvider {
 public:
  static constexpr std::uint32_t kSuccess = 0;
  static constexpr std::uint32_t kFailure = 12;

  // Returns the singleton, never null; it lives until the process ends. Every call, on any thread,
  // also cancels a request of `setForceRefresh`: call both that and `Init` on one pointer, with no
  // `GetInstance` in between.
  static DeviceInfoProvider* GetInstance();

  virtual WString GetMTM() const { return mtm_; }  // machine type and model
  // The serial number as configured, else the record's.
  virtual WString GetSystemSerialNumber() const { return system_serial_number_; }
  // The record's serial number.
  virtual WString GetRealSerialNumber() const { return real_serial_number_; }
  virtual WString GetDeviceManufacturer() const { return manufacturer_; }
  virtual WString GetDeviceCategory() const { return category_; }  // "HUB" or "PC"
  virtual WString GetDeviceEnclosureType() const { return enclosure_type_; }
  virtual WString GetDeviceFamily() const { return family_; }
  virtual WString GetMT() const { return mt_; }  // machine type
  // Returns the first processor's architecture; x64 if it is unknown. Needs no `Init`. Remembered
  // once known; a failure is logged and queried again by the next call.
  virtual Architecture GetCPUArchitecture();

  // Derives the identity from `record`, or from the helper factory's record if it is null. Once a
  // record is held, does nothing and returns kSuccess unless `setForceRefresh(true)` was called.
  // Returns kFailure if machine type or serial number is empty afterwards, and if there is no
  // record at all; nothing changes in that case. Throws nothing.
  virtual std::uint32_t Init(std::shared_ptr<MachineInformation> record);
  // Makes every `Init` run, until the next `GetInstance`.
  virtual void setForceRefresh(bool force) { force_refresh_.store(force); }

  virtual ~DeviceInfoProvider();

  // Sets `id` to a name-based UUID (version 5) of the serial number, in upper case:
  // "XXXXXXXX-XXXX-5XXX-XXXX-XXXXXXXXXXXX". Returns kFailure and leaves `id` unchanged if there is
  // no serial number.
  std::uint32_t GetLegacyDeviceID(WString& id) const;

 protected:
  DeviceInfoProvider() = default;

 private:
  static constexpr std::uint32_t kUnknown = 65535;

  std::uint32_t UpdateMachineInformation(std::shared_ptr<MachineInformation> record);
  bool GetDeviceIsHub() const;

  static std::atomic<DeviceInfoProvider*> device_info_provider_;
  static yox::Mutex instance_mutex_;  // for creation and the end of a force request

  const WString hub_machine_type_first_ = operator""_w<"20MY">();
  const WString hub_machine_type_second_ = operator""_w<"20N0">();
  const WString hub_bios_prefix_ = operator""_w<"N2GE">();
  WString mtm_;
  WString mt_;
  WString system_serial_number_;
  WString real_serial_number_;
  WString bios_version_;
  WString model_;
  WString manufacturer_;
  WString category_;
  WString enclosure_type_;
  WString family_;
  std::atomic<std::uint32_t> architecture_{kUnknown};
  // Of the platform that the architecture was read from.
  std::atomic<std::uint64_t> generation_{0};
  std::shared_ptr<MachineInformation> machine_information_agent_;
  std::atomic<bool> force_refresh_{false};
};

}  // namespace YOX
