#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// The record's texts, in their order, but for the manufacturer, whose getter is virtual.
// clang-format off
#define YOX_MACHINE_TEXTS(X)    \
  X(device_name)                \
  X(device_brand)               \
  X(device_subbrand)            \
  X(device_family)              \
  X(device_model)               \
  X(device_mt)                  \
  X(device_enclosuretype)       \
  X(device_bios_version)        \
  X(device_bios_release_date)   \
  X(device_ec_release_date)     \
  X(device_bios_version_short)  \
  X(device_image_info)          \
  X(device_ec_version)          \
  X(device_smbios_version)      \
  X(serial_number)              \
  X(baseboard_serial_number)    \
  X(os_name)                    \
  X(os_version)                 \
  X(os_language)                \
  X(os_region)                  \
  X(os_update_title)            \
  X(os_update_description)      \
  X(os_description)             \
  X(device_info_datetime)       \
  X(npu_exists)                 \
  X(npu_mfr)                    \
  X(npu_description)            \
  X(device_tag)
// clang-format on

// The one record of what this device is: identity, firmware, operating system, region, language and
// accelerators. A process-wide singleton that can be copied by value; a copy is a snapshot.
//
// Accessors take no lock, on purpose: a reader can see a refresh half way through, a torn text
// included. Getters return copies. The pointer is published before the record is filled, so a
// second thread that asks during the first collection reads whatever stands in the members at that
// moment.
class YOX_API MachineInformation {
 public:
#define YOX_ENUMERATOR(name) name,
  enum class Text : std::size_t { device_manufacturer, YOX_MACHINE_TEXTS(YOX_ENUMERATOR) kCount };
#undef YOX_ENUMERATOR

  // Never null; created and filled by the first call, lives until the process ends.
  static MachineInformation* GetInstance();

  MachineInformation(const MachineInformation& other);
  MachineInformation& operator=(const MachineInformation& other);
  virtual ~MachineInformation();

  // For each text a getter of its name, and a setter with set_ before it.
  virtual yox::WString device_manufacturer() const { return View(Text::device_manufacturer); }
  void set_device_manufacturer(const yox::WString& value) { Set(Text::device_manufacturer, value); }
#define YOX_ACCESSORS(name)                              \
  yox::WString name() const { return View(Text::name); } \
  void set_##name(const yox::WString& value) { Set(Text::name, value); }
  YOX_MACHINE_TEXTS(YOX_ACCESSORS)
#undef YOX_ACCESSORS

  // A text as it stands, without a copy; valid while nobody sets it.
  const yox::WString& View(Text text) const { return texts_[static_cast<std::size_t>(text)]; }

  // A number that is derived from the serial number and costly to derive, kept beside it: -1 until
  // it is remembered, and again when the serial number is set. A copy starts without.
  std::int32_t serial_number_bucket() const {
    return serial_number_bucket_.load(std::memory_order_relaxed);
  }
  void remember_serial_number_bucket(std::int32_t bucket) const {
    serial_number_bucket_.store(bucket, std::memory_order_relaxed);
  }

  bool os_is_s_mode() const { return os_is_s_mode_; }
  void set_os_is_s_mode(const bool& value) { os_is_s_mode_ = value; }

  // Extension entries, each a text, for the host's use.
  std::vector<yox::WString> device_extension_keyvalue() const { return device_extension_keyvalue_; }
  void device_extension_keyvalue(std::vector<yox::WString> value) {
    device_extension_keyvalue_ = std::move(value);
  }

  std::vector<yox::WString> gpu_names() const { return gpu_names_; }

  // Collects everything anew and writes the cache file, under the record's lock; may take seconds.
  // Without `force` it does nothing: nothing in the record decides by itself that it is stale.
  void ReInitialize(bool force);

  // The accelerators and graphics processors, which no cache file keeps. They take no lock.
  // The last accelerator gives manufacturer and description; a text that cannot be read, and the
  // texts of a device without accelerators, stay as they were.
  void CollectNpuInfo();
  // The names of real graphics hardware; a device that shows none keeps the former names.
  void CollectGpuNames();
  void CollectAdditionalInfo(bool with_npu);

 protected:
  MachineInformation();

  // Fills the record once: from its cache file, or from the device when that cannot be opened. A
  // file that can be opened is believed, even an empty one.
  void Initialize();
  bool LoadMachineInformationFromFile();
  // Replaces the file in place; false when it cannot be opened.
  bool SaveMachineInformationToFile();
  // The file's text; empty when it cannot be made.
  std::string Serialize();
  // Assigns key by key: where a value has the wrong shape, those behind it keep what they hold. A
  // missing key empties its member; a text that is no JSON changes nothing.
  void DeSerialize(const std::string& text);

  // Fills the record from the device; `force` has the sources read anew. An exception of a source
  // ends the collection there, without a word: what was assigned before it stays.
  void ReadMachineInformation(bool force);
  // The device simulator's machine type, if its registry value is set, else that of the MTM.
  void SetMachineType(yox::WString mtm);
  void SetSerialNumber(yox::WString serial);

  // Leaves the text as it is and answers 0.
  int SanitizeString(std::string& text);

 private:
  void Set(Text text, const yox::WString& value);

  static const yox::WStringView s_MachineInformationSharedFolderSubPath;
  static const yox::WStringView s_MachineInformationFileName;

  static std::atomic<MachineInformation*> machine_information_;
  static std::mutex instance_mutex_;

  std::array<yox::WString, static_cast<std::size_t>(Text::kCount)> texts_;
  std::vector<yox::WString> device_extension_keyvalue_;
  std::vector<yox::WString> gpu_names_;
  mutable std::atomic<std::int32_t> serial_number_bucket_{-1};
  bool os_is_s_mode_ = false;
  std::recursive_mutex lock_;  // one collection at a time; a copy has its own
  bool initialized_ = false;
};
