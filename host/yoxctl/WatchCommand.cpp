#include <chrono>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/decision/FilterDocument.h"
#include "yox/device/MachineInformation.h"
#include "yox/device/YoxInfo.h"
#include "yox/notifications/YOXPublisherSubscriber.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/waits/Event.h"
#include "yox/platform/waits/Waits.h"
#include "yox/tags/AppAndTagCollection.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/FollowedProfile.h"
#include "host/yoxctl/MachineRecord.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/PresentDevices.h"
#include "host/yoxctl/StopSignals.h"
#include "host/yoxctl/WatchLines.h"

using yox::decision::ReadFilterDocument;

namespace yoxctl {
namespace {

using yox::platform::Event;
using yox::platform::PresentDevice;

// How often a profile's file is read.
constexpr std::int64_t kLookMilliseconds = 100;
// How often the list is decided without a notification: the date or a registry value may have
// changed.
constexpr std::int64_t kDecideMilliseconds = 1'000;

// Prints lines of several threads; when that fails, sets the event and keeps why.
class Printer {
 public:
  explicit Printer(Event& stop) : stop_(stop) {}

  void Line(const std::string& line) {
    const yox::MutexLock lock(mutex_);
    if (failed_) return;
    try {
      Print(line);
    } catch (const Refusal&) {
      failed_ = std::current_exception();
      stop_.Set();
    }
  }
  void RethrowFailure() {
    const yox::MutexLock lock(mutex_);
    if (failed_) std::rethrow_exception(failed_);
  }

 private:
  Event& stop_;
  yox::Mutex mutex_;
  std::exception_ptr failed_ YOX_GUARDED_BY(mutex_);
};

// The evaluator at work, as a host has it: started here, and ended with the object.
class Running {
 public:
  Running(Event& stop, Event& changed) : stop_(stop) {
    PublishMachineRecord();
    subscriber_ = YOXPublisherSubscriber::GetInstance()->Subscribe(
        [&changed](YOXNotificationData& record_of_tags) {
          if (record_of_tags.getTopicId() == static_cast<int>(TopicId::TagsUpdated)) changed.Set();
        },
        false);
    ApplicabilityEvaluator::SetYoxIsStoppingHandle(stop.handle());
    evaluator_ = ApplicabilityEvaluator::GetInstance();
  }
  ~Running() {
    stop_.Set();
    evaluator_->Uninit();
    YOXPublisherSubscriber::GetInstance()->Unsubscribe(subscriber_);
    ApplicabilityEvaluator::SetYoxIsStoppingHandle({});
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  // Reads again what the client reads once: the machine record with region and firmware, its own
  // version, and the tags.
  void Refresh() {
    MachineInformation::GetInstance()->ReInitialize(true);
    YoxInfo::GetInstance()->ForgetServiceVersion();
    AppAndTagCollection& tags = *AppAndTagCollection::GetInstance();
    tags.setTags(tags.getTagsFromRegistryAndMemory());
  }

  Decision Decide(const ApplicabilityFilter& filter) {
    yox::WString reason;
    const bool applies = evaluator_->IsApplicable(filter, nullptr, {}, reason);
    return {applies, YOX::String::UTF16ToUTF8(reason)};
  }

 private:
  Event& stop_;
  yox::WString subscriber_;
  ApplicabilityEvaluator* evaluator_ = nullptr;
};

std::vector<Tag> TagsNow() {
  std::vector<Tag> tags;
  for (const YOXTag& tag : AppAndTagCollection::GetInstance()->getTags()) {
    tags.push_back({YOX::String::UTF16ToUTF8(tag.key()), YOX::String::UTF16ToUTF8(tag.value())});
  }
  return tags;
}

std::unique_ptr<DeviceWatch> WatchDevices(Printer& printer, Event& changed, bool json) {
  try {
    return std::make_unique<DeviceWatch>(
        yox::platform::Platform::Get().device_tree(),
        [&printer, &changed, json](DeviceWatch::Change change, const PresentDevice& device) {
          printer.Line(DeviceLine(change, device, json));
          changed.Set();
        });
  } catch (const Refusal& refusal) {
    Complain(refusal.what());  // tags and decisions are watched all the same
    return nullptr;
  }
}

int Watch(const GlobalOptions& global, const std::optional<std::string>& filters) {
  std::optional<ApplicabilityFilter> filter;
  if (filters) filter = ReadNamed(*filters, ReadFilterDocument);
  FollowedProfile profile(global.device.value_or(""));
  ChosenDevice device(global);
  Event stop, changed;
  const StopSignals signals(stop);
  Printer printer(stop);
  {
    Running running(stop, changed);
    const auto devices = WatchDevices(printer, changed, global.json);
    std::vector<Tag> tags = TagsNow();
    std::optional<Decision> decision;
    const auto look = [&] {
      std::vector<Tag> now = TagsNow();
      for (const std::string& line : TagLines(tags, now, global.json)) printer.Line(line);
      tags = std::move(now);
      if (!filter) return;
      Decision next = running.Decide(*filter);
      if (!decision || decision->applies != next.applies) {
        printer.Line(DecisionLine(decision, next, global.json));
      }
      decision = std::move(next);
    };
    printer.Line(StartLine(devices ? devices->present() : 0, global.json));
    look();
    // In real time, which the clock of a profile goes along with.
    auto* const simulated = device.simulated();
    auto passed = std::chrono::steady_clock::now();
    auto looked = passed;
    while (true) {
      const bool told =
          yox::platform::NativeWaitForAny({stop.handle(), changed.handle()},
                                          simulated ? kLookMilliseconds : kDecideMilliseconds)
              .signalled();
      if (stop.IsSet()) break;
      if (simulated) {
        const auto now = std::chrono::steady_clock::now();
        const auto step = std::chrono::floor<std::chrono::milliseconds>(now - passed);
        passed += step;
        if (simulated->clock().MovedByHand()) simulated->clock().AdvanceMilliseconds(step.count());
        const bool due = now - looked >= std::chrono::milliseconds(kDecideMilliseconds);
        const bool edited = profile.Follow(*simulated);
        if (edited) running.Refresh();
        if (!edited && !told && !due) continue;
        looked = now;
      }
      changed.Clear();
      look();
    }
  }
  printer.RethrowFailure();
  return kDone;
}

}  // namespace

Command WatchCommand() {
  const auto filters = std::make_shared<std::optional<std::string>>();
  return {.name = "watch",
          .help =
              "Print tags, devices and the decision as they change, until interrupted; of a "
              "profile, as it is edited",
          .options = {{.name = "FILTERS.json",
                       .help = "The filter list to decide",
                       .target = filters.get()}},
          .run = [filters](const GlobalOptions& global) { return Watch(global, *filters); }};
}

}  // namespace yoxctl
