#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

class MachineInformation;

namespace YOX {

// The processor's architecture, as Win32_Processor numbers it.
enum class Architecture : std::uint32_t { x86 = 0, ARM = 5, IA64 = 6, x64 = 9, ARM64 = 12 };

// The device's identity as the client presents it to its services: what a developer overrides, then
// what is configured, then the machine record. A process-wide singleton.
//
// Unguarded on purpose: `Init` and the getters take no lock, and a reader can see a refresh half
// way through. Texts are empty until the first `Init`; getters return copies.
class YOX_API DeviceInfoProvider {
 public:
  static constexpr std::uint32_t kSuccess = 0;
  static constexpr std::uint32_t kFailure = 12;

  // Never null. Every call, from any thread, also takes back a request of `setForceRefresh`, which
  // therefore needs a pointer that is already held.
  static DeviceInfoProvider* GetInstance();

  virtual WString GetMTM() const { return mtm_; }
  virtual WString GetSystemSerialNumber() const { return system_serial_number_; }  // as configured
  virtual WString GetRealSerialNumber() const { return real_serial_number_; }      // as recorded
  virtual WString GetDeviceManufacturer() const { return manufacturer_; }
  virtual WString GetDeviceCategory() const { return category_; }  // "HUB" or "PC"
  virtual WString GetDeviceEnclosureType() const { return enclosure_type_; }
  virtual WString GetDeviceFamily() const { return family_; }
  virtual WString GetMT() const { return mt_; }
  // Needs no record; x64 when nothing is known. A success is remembered, a failure is not.
  virtual Architecture GetCPUArchitecture();

  // Derives the identity from the record, or from that of the helper factory if it is null. Once a
  // record is held, nothing happens without `setForceRefresh(true)`, and that is a success. Answers
  // kFailure when machine type or serial number stay empty, and when there is no record at all: in
  // that case nothing changes.
  virtual std::uint32_t Init(std::shared_ptr<MachineInformation> record);
  virtual void setForceRefresh(bool force) { force_refresh_.store(force); }

  virtual ~DeviceInfoProvider();

  // A name-based UUID of the serial number in upper case, "XXXXXXXX-XXXX-5XXX-XXXX-XXXXXXXXXXXX".
  // kFailure, and `id` untouched, when there is no serial number.
  std::uint32_t GetLegacyDeviceID(WString& id) const;

 protected:
  DeviceInfoProvider() = default;

 private:
  static constexpr std::uint32_t kUnknown = 65535;

  std::uint32_t UpdateMachineInformation(std::shared_ptr<MachineInformation> record);
  bool GetDeviceIsHub() const;

  static std::atomic<DeviceInfoProvider*> device_info_provider_;
  static std::mutex instance_mutex_;

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
  std::shared_ptr<MachineInformation> machine_information_agent_;
  std::atomic<bool> force_refresh_{false};
};

}  // namespace YOX
