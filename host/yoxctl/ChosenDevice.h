#pragma once

#include <optional>
#include <string>

#include "yox/clientbase/Document.h"
#include "yox/clientbase/platform/simulated/SimulatedDevice.h"

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {

// The document in the file that an argument names, read by `read(text)`. Throws Refusal with the
// argument and what is wrong with the document.
template <class Read>
auto ReadNamed(const std::string& argument, Read read) {
  try {
    return read(YOX::ReadDocumentFile(PathOf(argument)));
  } catch (const YOX::DocumentError& error) {
    throw Refusal(NameOf(argument) + ": " + error.what());
  }
}

// The device that a command speaks of: installed for as long as the object lives.
class ChosenDevice {
 public:
  explicit ChosenDevice(const GlobalOptions& options);

  // Null when it is this machine.
  YOX::platform::SimulatedDevice* simulated() { return simulated_ ? &*simulated_ : nullptr; }

 private:
  std::optional<YOX::platform::SimulatedDevice> simulated_;
  std::optional<YOX::platform::ScopedPlatform> installed_;
};

}  // namespace yoxctl
