#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/LocalDate.h"
#include "yox/decision/Filter.h"
#include "yox/platform/Platform.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/platform/waits/Event.h"

#include "host/yoxd/Part.h"

namespace yoxd {

// Which device the service decides on.
struct DeviceChoice {
  std::string profile;           // file name of a device profile; empty: this machine
  std::string state_dir;         // empty: the system's own folder
  std::int64_t clock_speed = 1;  // of a simulated clock that shows a given time
};

// The process's platform for as long as the object lives: this machine, or the device of a profile,
// which follows edits of its file. Created before any other thread and destroyed after it.
class ChosenPlatform {
 public:
  // Throws yox::DocumentError, with the file, for a profile that cannot be read.
  explicit ChosenPlatform(const DeviceChoice& choice);
  ~ChosenPlatform();
  ChosenPlatform(const ChosenPlatform&) = delete;
  ChosenPlatform& operator=(const ChosenPlatform&) = delete;

  // The folder of the client's state. Throws std::runtime_error when the account has none.
  static std::filesystem::path StateRoot();

  // Null for this machine.
  yox::platform::SimulatedDevice* simulated() { return simulated_ ? &*simulated_ : nullptr; }
  const std::string& profile_file() const { return choice_.profile; }
  // Reads the profile again. Returns whether the device has changed; a profile that cannot be read
  // is reported and changes nothing.
  bool Follow();
  // Lets a clock that is moved by hand pass as long as it was since the last call.
  void PassTime(Moment now);
  // When PassTime is due; std::nullopt for a clock that passes by itself.
  std::optional<Moment> Due() const;

 private:
  const DeviceChoice choice_;
  std::string profile_text_;
  std::optional<yox::platform::SimulatedDevice> simulated_;
  std::optional<yox::platform::ScopedPlatform> installed_;
  Moment passed_ = SteadyClock::now();
};

struct Decision {
  bool applies = false;
  std::string reason;  // UTF-8

  friend bool operator==(const Decision&, const Decision&) = default;
};

// The running library: evaluator, bus and machine record, started by the constructor and ended by
// the destructor in the order that docs/hosting.md requires. One at a time in a process.
class RunningDevice {
 public:
  // `changed` is set, on other threads, when tags or present devices have changed.
  explicit RunningDevice(yox::platform::Event& changed);
  ~RunningDevice();
  RunningDevice(const RunningDevice&) = delete;
  RunningDevice& operator=(const RunningDevice&) = delete;

  Decision Decide(const ApplicabilityFilter& list);
  // The documents that the service publishes (docs/yoxd.md). `lists` name the registry values that
  // the facts include.
  std::string FactsText(const std::string& id, std::span<const ApplicabilityFilter> lists);
  std::string TagsText();
  // Reads again what the library reads once: the machine record, the service's version, the tags.
  void Recollect();
  // For a log-on: the tags of who is logged on now.
  void RefreshUser() { evaluator_->RefreshPersonaTagMonitoring(); }

 private:
  static yox::platform::Dword OnDeviceEvent(HCMNOTIFICATION notification, void* context,
                                            CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data,
                                            yox::platform::Dword size);

  yox::platform::Event stopping_;
  yox::WString subscriber_;
  ApplicabilityEvaluator* evaluator_ = nullptr;
  std::unique_ptr<yox::platform::DeviceRegistration> devices_;
};

// The date on the device.
yox::LocalDate Today();
// The device's time, seconds since 1970-01-01 UTC.
std::int64_t DeviceTime();
// Seconds, at least 1, until the device's date changes.
std::int64_t SecondsOfToday();

}  // namespace yoxd
