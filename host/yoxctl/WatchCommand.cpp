#include <json/writer.h>
#include <signal.h>

#include <CLI/App.hpp>
#include <chrono>
#include <exception>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include "yox/clientbase/String.h"
#include "yox/clientbase/platform/Event.h"
#include "yox/clientbase/platform/Platform.h"
#include "yox/clientbase/platform/simulated/DeviceProfileReader.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/PresentDevices.h"

namespace yoxctl {
namespace {

using YOX::platform::DeviceProfile;
using YOX::platform::Event;
using YOX::platform::PresentDevice;

// How long a change of a profile's file may stay unseen.
constexpr auto kLook = std::chrono::milliseconds(100);

std::string OneLine(const Json::Value& document) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, document) + "\n";
}

std::string StartLine(std::size_t devices, bool json) {
  if (!json) return "watching " + std::to_string(devices) + " devices\n";
  Json::Value document;
  document["event"] = "watching";
  document["devices"] = static_cast<Json::UInt64>(devices);
  return OneLine(document);
}

std::string ChangeLine(DeviceWatch::Change change, const PresentDevice& device, bool json) {
  const char* const word = change == DeviceWatch::Change::kArrived ? "arrived" : "removed";
  if (json) {
    Json::Value document = DeviceJson(device);
    document["event"] = word;
    return OneLine(document);
  }
  std::string line = std::string(word) + " " + YOX::String::UTF16ToUTF8(device.instance_id);
  for (const YOX::WString& id : device.hardware_ids) line += "  " + YOX::String::UTF16ToUTF8(id);
  return line + "\n";
}

// Interrupting or terminating the program sets the event for as long as this lives.
class StopSignals {
 public:
  explicit StopSignals(Event& stop) {
    handle_ = stop.handle();
    for (const int number : kNumbers) signal(number, OnSignal);
  }
  ~StopSignals() {
    for (const int number : kNumbers) signal(number, SIG_DFL);
  }
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

 private:
  static constexpr int kNumbers[] = {SIGINT, SIGTERM};
  static void OnSignal(int /*number*/) { YOX::platform::SignalEvent(handle_); }
  static inline YOX::platform::WaitHandle handle_;
};

// Plugs and unplugs what an edit of the profile's file adds to or takes from its devices. Made
// before the profile is read, so that no edit is missed.
class FollowedProfile {
 public:
  explicit FollowedProfile(std::string argument) : argument_(std::move(argument)), seen_(Look()) {}

  void Follow(YOX::platform::SimulatedDevice& device) {
    const auto now = Look();
    if (now == seen_) return;
    seen_ = now;
    try {
      auto devices = ReadNamed(argument_, YOX::platform::ReadDeviceProfile).devices;
      device.Change([&](DeviceProfile& profile) { profile.devices = std::move(devices); });
    } catch (const Refusal& refusal) {
      Complain(refusal.what());  // it may be half written: the next change is looked at again
    }
  }

 private:
  std::pair<std::filesystem::file_time_type, std::uintmax_t> Look() const {
    std::error_code error;
    const std::filesystem::path path = PathOf(argument_);
    const auto written = std::filesystem::last_write_time(path, error);
    return {written, std::filesystem::file_size(path, error)};
  }

  const std::string argument_;
  std::pair<std::filesystem::file_time_type, std::uintmax_t> seen_;
};

int Watch(const GlobalOptions& global) {
  FollowedProfile profile(global.device.value_or(""));
  ChosenDevice device(global);
  Event stop;
  const StopSignals signals(stop);
  std::exception_ptr failed;  // written before `stop` is set
  const auto print = [&](const std::string& line) {
    try {
      Print(line);
    } catch (const Refusal&) {
      if (!stop.IsSet()) failed = std::current_exception();
      stop.Set();
    }
  };
  {
    DeviceWatch watch(YOX::platform::Platform::Get().device_tree(),
                      [&](DeviceWatch::Change change, const PresentDevice& changed) {
                        print(ChangeLine(change, changed, global.json));
                      });
    Print(StartLine(watch.present(), global.json));
    if (auto* const simulated = device.simulated()) {
      // In real time, whatever the profile's clock says.
      for (; !stop.IsSet(); std::this_thread::sleep_for(kLook)) profile.Follow(*simulated);
    } else {
      YOX::platform::WaitFor(stop.handle());
    }
  }
  if (failed) std::rethrow_exception(failed);
  return kDone;
}

}  // namespace

void AddWatchCommand(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand(
      "watch",
      "Print devices as they come and go, until interrupted; of a profile, as it is edited");
  command->callback([&action] { action = Watch; });
}

}  // namespace yoxctl
