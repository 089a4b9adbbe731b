#pragma once

#include <optional>
#include <string>

#include "yox/base/Document.h"
#include "yox/base/LocalDate.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Inputs.h"
#include "host/yoxctl/MachineAtMoment.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {

// Returns what `read()` returns. Throws Refusal with the argument that names the document, and with
// what is wrong with it.
template <class Read>
auto Named(const std::string& argument, Read read) {
  try {
    return read();
  } catch (const yox::DocumentError& error) {
    throw Refusal(NameOf(argument) + ": " + error.what());
  }
}

// Returns `read(text)` for the text of the file that an argument names, "-" for standard input.
// Throws Refusal with the argument and what is wrong with the document.
template <class Read>
auto ReadNamed(const std::string& argument, Read read) {
  return Named(argument, [&] { return read(ReadInput(argument)); });
}

// Returns the argument of --now as a profile's clock has it: of a day its noon.
std::string ClockTextOf(const std::string& now);

// Reads the argument of --now: its `now` is set. Throws Refusal.
yox::platform::DeviceProfile::ClockSection ClockAt(const std::string& now);

// Returns the day that --now names, or else the chosen device's.
yox::LocalDate Today(const GlobalOptions& options);

// The device that --device and --state-dir choose. It is the process's platform as long as the
// object lives. Failures of its registry are printed to standard error.
class ChosenDevice {
 public:
  explicit ChosenDevice(const GlobalOptions& options);
  ~ChosenDevice();
  ChosenDevice(const ChosenDevice&) = delete;
  ChosenDevice& operator=(const ChosenDevice&) = delete;

  // Returns null if the device is this machine.
  yox::platform::SimulatedDevice* simulated() { return simulated_ ? &*simulated_ : nullptr; }

 private:
  void Install(const GlobalOptions& options);

  std::optional<yox::platform::SimulatedDevice> simulated_;
  std::optional<MachineAtMoment> machine_;  // with --now and without --device
  std::optional<yox::platform::ScopedPlatform> installed_;
};

}  // namespace yoxctl
