#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/FoldedText.h"
#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"
#include "yox/foundation/Version.h"

// The record's texts, in their order. A row has the member's name, its position in the cache file
// (0 if it is not there; position 6 is the flag os_is_s_mode), and the group and source under which
// `yoxctl device` shows it. The getter of a VIRTUAL text can be overridden. Other versions of the
// client read and write the same file: do not change positions.
// clang-format off
#define YOX_MACHINE_TEXTS(PLAIN, VIRTUAL)                                                         \
  PLAIN(device_name, 0, hardware, "host")                                                         \
  VIRTUAL(device_manufacturer, 22, hardware, "firmware, system")                                  \
  PLAIN(device_brand, 10, hardware, "SKU, family, manufacturer")                                  \
  PLAIN(device_subbrand, 11, hardware, "SKU, family")                                             \
  PLAIN(device_family, 12, hardware, "firmware, system")                                          \
  PLAIN(device_model, 13, hardware, "firmware, system")                                           \
  PLAIN(device_mt, 14, hardware, "simulator, model")                                              \
  PLAIN(device_enclosuretype, 17, hardware, "firmware, enclosure")                                \
  PLAIN(device_bios_version, 18, hardware, "firmware, BIOS")                                      \
  PLAIN(device_bios_release_date, 20, hardware, "firmware, BIOS")                                 \
  PLAIN(device_ec_release_date, 21, hardware, "firmware")                                         \
  PLAIN(device_bios_version_short, 19, hardware, "firmware, BIOS")                                \
  PLAIN(device_image_info, 0, hardware, "host")                                                   \
  PLAIN(device_ec_version, 23, hardware, "firmware, BIOS")                                        \
  PLAIN(device_smbios_version, 24, hardware, "firmware, entry point")                             \
  PLAIN(serial_number, 1, hardware, "firmware, system")                                           \
  PLAIN(baseboard_serial_number, 0, hardware, "firmware, baseboard; not cached")                  \
  PLAIN(os_name, 2, operating_system, "operating system")                                         \
  PLAIN(os_version, 5, operating_system, "operating system")                                      \
  PLAIN(os_language, 4, operating_system, "region")                                               \
  PLAIN(os_region, 3, operating_system, "region")                                                 \
  PLAIN(os_update_title, 7, operating_system, "update history")                                   \
  PLAIN(os_update_description, 8, operating_system, "update history")                             \
  PLAIN(os_description, 9, operating_system, "operating system, caption")                         \
  PLAIN(device_info_datetime, 16, operating_system, "clock, at the last collection")              \
  PLAIN(npu_exists, 0, accelerators, "accelerator devices")                                       \
  PLAIN(npu_mfr, 0, accelerators, "accelerator devices")                                          \
  PLAIN(npu_description, 0, accelerators, "accelerator devices")                                  \
  PLAIN(device_tag, 15, hardware, "host")
// clang-format on

// What this device is: identity, firmware, operating system, region, language and accelerators. A
// process-wide singleton that can also be copied by value; a copy is a snapshot.
//
// A host calls `Publish` once at its start, before other threads use the library. All texts are
// UTF-16; a text that is unknown is empty.
//
// Threads: getters and setters take no lock, by design, and must not overlap with a setter or a
// refresh of the same text on another thread: a reader then sees a torn text. The two lists and the
// S-mode flag may be read and set from any thread. `GetInstance` publishes the record before it has
// filled it, so a second thread that calls it during the first collection reads whatever the
// members hold at that moment.
class YOX_API MachineInformation {
 public:
  using List = std::vector<yox::WString>;

#define YOX_ENUMERATOR(name, ...) name,
  // The texts, for View.
  enum class Text : std::size_t { YOX_MACHINE_TEXTS(YOX_ENUMERATOR, YOX_ENUMERATOR) kCount };
#undef YOX_ENUMERATOR

  // Returns the singleton, never null. The first call creates and fills it, which may take seconds;
  // it lives until the process ends. Safe from any thread.
  static MachineInformation* GetInstance();

  // Returns the singleton as a shared pointer, for functions that take one. Safe from any thread.
  static std::shared_ptr<MachineInformation> GetShared();

  // Puts the singleton into the helper factory, where the evaluator, the tag collection and
  // DeviceInfoProvider look for it, and returns it. Without a record there every filter list
  // applies and no tag is collected. Call it before other threads read the factory.
  static std::shared_ptr<MachineInformation> Publish();

  MachineInformation(const MachineInformation& other);
  MachineInformation& operator=(const MachineInformation& other);
  virtual ~MachineInformation();

  // Never destroys the singleton, so that any smart pointer made from `GetInstance` is safe.
  static void operator delete(MachineInformation* record, std::destroying_delete_t) {
    if (record->IsInstance()) return;
    void* const object = dynamic_cast<void*>(record);  // of the most derived class
    record->~MachineInformation();
    ::operator delete(object);
  }

  // One getter per text, which returns a copy, and one setter with `set_` before the name.
#define YOX_ACCESSORS(name, ...)                         \
  yox::WString name() const { return View(Text::name); } \
  void set_##name(const yox::WString& value) { Set(Text::name, value); }
#define YOX_VIRTUAL_ACCESSORS(name, ...) \
  virtual yox::WString name() const;     \
  virtual void set_##name(const yox::WString& value);
  YOX_MACHINE_TEXTS(YOX_ACCESSORS, YOX_VIRTUAL_ACCESSORS)
#undef YOX_VIRTUAL_ACCESSORS
#undef YOX_ACCESSORS

  // Returns a text without copying it; valid until the text is set.
  const yox::WString& View(Text text) const { return texts_[static_cast<std::size_t>(text)]; }

  // Returns the same text in the form in which it is compared with others; computed when it is set.
  const yox::FoldedView& Folded(Text text) const { return folded_[static_cast<std::size_t>(text)]; }
  // Returns os_version as a version, if it is one; computed when it is set.
  const std::optional<Version>& OsVersion() const { return os_version_as_version_; }
  // Whether a class of the host overrides the getter of the manufacturer; true if that is not to be
  // known, as with most compilers.
  bool MayOverrideManufacturer() const;

  // Whether the operating system runs in S mode.
  bool os_is_s_mode() const { return os_is_s_mode_.load(std::memory_order_relaxed); }
  void set_os_is_s_mode(const bool& value) {
    os_is_s_mode_.store(value, std::memory_order_relaxed);
  }

  // Extension entries, for the host's use. The library neither sets nor reads them.
  List device_extension_keyvalue() const;
  void device_extension_keyvalue(List value);

  // Names of the graphics processors, as `CollectGpuNames` found them.
  List gpu_names() const;

  // Collects everything from the device again and rewrites the cache file; may take seconds, and
  // waits for a collection on another thread. Does nothing unless `force` is true: the record never
  // decides by itself that it is out of date.
  void ReInitialize(bool force);

  // Read the accelerators and graphics processors, which are not in the cache file. They may run
  // beside a refresh.
  //
  // Sets npu_exists to "true" or "false". Manufacturer and description come from the last
  // accelerator; they keep their value when it cannot be read or there is no accelerator.
  void CollectNpuInfo();
  // Replaces gpu_names by the names of real graphics hardware; keeps it if there is none.
  void CollectGpuNames();
  // Calls CollectNpuInfo if `with_npu` is true, then CollectGpuNames.
  void CollectAdditionalInfo(bool with_npu);

 protected:
  MachineInformation();

  // Fills the record on the first call: from its cache file, or from the device if the file cannot
  // be opened. A file that can be opened is believed, even if it is empty or broken.
  void Initialize();
  // Returns false if the file cannot be opened; true whatever it holds.
  bool LoadMachineInformationFromFile();
  // Writes the file in place. Returns false if it cannot be opened. If writing fails, the file is
  // removed, so that the next start collects.
  bool SaveMachineInformationToFile();
  // Returns the cache file's text: compact JSON, UTF-8. Empty if it cannot be created.
  std::string Serialize();
  // Reads a cache file's text. Members are assigned in the order of their positions: a missing key
  // empties its member, a value of the wrong type ends the reading. Text that is not JSON changes
  // nothing.
  void DeSerialize(const std::string& text);

  // Fills the record from the device; with `force` the sources are read again too. An exception
  // ends the collection there without a log line: what was assigned before stays.
  void ReadMachineInformation(bool force);
  // Sets device_mt to the device simulator's machine type, if its registry value is set, else to
  // that of the MTM.
  void SetMachineType(yox::WString mtm);
  void SetSerialNumber(yox::WString serial);

  // Returns 0 and leaves the text unchanged.
  int SanitizeString(std::string& text);

 private:
  bool IsInstance() const;
  void Set(Text text, const yox::WString& value);

  static const yox::WStringView s_MachineInformationSharedFolderSubPath;
  static const yox::WStringView s_MachineInformationFileName;

  static std::atomic<MachineInformation*> machine_information_;
  static yox::Mutex instance_mutex_;  // for creation; taken before lock_

  std::array<yox::WString, static_cast<std::size_t>(Text::kCount)> texts_;
  yox::FoldedTexts<static_cast<std::size_t>(Text::kCount)> folded_;  // of them
  std::optional<Version> os_version_as_version_;
  mutable yox::Mutex lists_mutex_;
  List device_extension_keyvalue_ YOX_GUARDED_BY(lists_mutex_);
  List gpu_names_ YOX_GUARDED_BY(lists_mutex_);
  std::atomic<bool> os_is_s_mode_{false};
  yox::RecursiveMutex lock_;  // one collection or cache load at a time; a copy has its own
  std::atomic<bool> initialized_{false};
};
