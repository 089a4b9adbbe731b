#include "host/yoxd/Device.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "yox/base/Document.h"
#include "yox/clientbase/Paths.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FactsRecord.h"
#include "yox/device/MachineInformation.h"
#include "yox/device/YoxInfo.h"
#include "yox/notifications/YOXPublisherSubscriber.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/tags/AppAndTagCollection.h"

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/Journal.h"
#include "host/yoxd/Text.h"

namespace yoxd {

namespace {

yox::platform::DeviceProfile ReadProfile(const std::string& file, std::string& text) {
  try {
    text = yox::ReadDocumentFile(PathOf(file));
    return yox::platform::ReadDeviceProfile(text);
  } catch (const yox::DocumentError& error) {
    throw yox::DocumentError(yox::Printable(file) + ": " + error.what());
  }
}

yox::platform::Clock& DeviceClock() { return yox::platform::Platform::Get().clock(); }

}  // namespace

ChosenPlatform::ChosenPlatform(const DeviceChoice& choice) : choice_(choice) {
  if (!choice_.profile.empty()) {
    const auto folder =
        choice_.state_dir.empty() ? std::filesystem::path() : PathOf(choice_.state_dir);
    simulated_.emplace(ReadProfile(choice_.profile, profile_text_), folder);
    installed_.emplace(*simulated_);
  } else if (!choice_.state_dir.empty()) {
    SetVariable("YOX_STATE_DIR", PathText(std::filesystem::absolute(PathOf(choice_.state_dir))));
  }
}

ChosenPlatform::~ChosenPlatform() = default;

std::filesystem::path ChosenPlatform::StateRoot() {
  yox::WString root;
  if (!YOX::utility::GetYoxAppDataRootPath(root)) {
    throw std::runtime_error("this account has no folder for the client's state (--state-dir)");
  }
  return PathOf(Narrow(root));
}

bool ChosenPlatform::Follow() {
  if (!simulated_) return false;
  std::string text;
  try {
    const auto profile = ReadProfile(choice_.profile, text);
    if (text == profile_text_) return false;
    simulated_->Become(profile);
  } catch (const yox::DocumentError& error) {
    // It may be half written: the next edit is read.
    Journal::Warning("device", error.what());
    return false;
  }
  profile_text_ = std::move(text);
  return true;
}

void ChosenPlatform::PassTime(Moment now) {
  if (!Due()) return;
  const auto step = std::chrono::floor<std::chrono::milliseconds>(now - passed_);
  if (step.count() <= 0) return;
  passed_ += step;
  simulated_->clock().AdvanceMilliseconds(step.count() * choice_.clock_speed);
}

std::optional<Moment> ChosenPlatform::Due() const {
  if (!simulated_ ||
      !const_cast<yox::platform::SimulatedDevice&>(*simulated_).clock().MovedByHand())
    return std::nullopt;
  return passed_ + std::chrono::milliseconds(choice_.clock_speed > 1 ? 50 : 1'000);
}

RunningDevice::RunningDevice(yox::platform::Event& changed) {
  // Before any other thread uses the library: without the record every list applies.
  MachineInformation::Publish();
  subscriber_ = YOXPublisherSubscriber::GetInstance()->Subscribe(
      [&changed](YOXNotificationData& record) {
        if (record.getTopicId() == static_cast<int>(TopicId::TagsUpdated)) changed.Set();
      },
      false);
  ApplicabilityEvaluator::SetYoxIsStoppingHandle(stopping_.handle());
  evaluator_ = ApplicabilityEvaluator::GetInstance();
  devices_ = yox::platform::Platform::Get().device_tree().Register(OnDeviceEvent, &changed);
  if (devices_ == nullptr) {
    Journal::Warning("device", "this system does not report changes of devices");
  }
}

RunningDevice::~RunningDevice() {
  devices_.reset();
  // The handle comes first: Uninit waits for threads that only the handle ends.
  stopping_.Set();
  evaluator_->Uninit();
  auto* const bus = YOXPublisherSubscriber::GetInstance();
  bus->Unsubscribe(subscriber_);
  bus->Cleanup();
  ApplicabilityEvaluator::SetYoxIsStoppingHandle({});
}

yox::platform::Dword RunningDevice::OnDeviceEvent(HCMNOTIFICATION /*notification*/, void* context,
                                                  CM_NOTIFY_ACTION /*action*/,
                                                  PCM_NOTIFY_EVENT_DATA /*data*/,
                                                  yox::platform::Dword /*size*/) {
  static_cast<yox::platform::Event*>(context)->Set();
  return 0;
}

Decision RunningDevice::Decide(const ApplicabilityFilter& list) {
  yox::WString reason;
  const bool applies = evaluator_->IsApplicable(list, nullptr, {}, reason);
  return {applies, Narrow(reason)};
}

std::string RunningDevice::FactsText(const std::string& id,
                                     std::span<const ApplicabilityFilter> lists) {
  yox::decision::FactsRecord record = evaluator_->CollectFacts(lists);
  record.id = id;
  return yox::decision::FactsJson(record, yox::decision::Anonymity::kAnonymous);
}

std::string RunningDevice::TagsText() {
  Json::Value tags(Json::arrayValue);
  for (const YOXTag& tag : AppAndTagCollection::GetInstance()->getTags()) {
    Json::Value entry;
    entry["key"] = Narrow(tag.key());
    entry["value"] = Narrow(tag.value());
    tags.append(std::move(entry));
  }
  Json::Value document;
  document["tags"] = std::move(tags);
  return JsonLine(document);
}

void RunningDevice::Recollect() {
  MachineInformation::GetInstance()->ReInitialize(true);
  YoxInfo::GetInstance()->ForgetServiceVersion();
  AppAndTagCollection& tags = *AppAndTagCollection::GetInstance();
  tags.setTags(tags.getTagsFromRegistryAndMemory());
}

yox::LocalDate Today() { return DeviceClock().ToLocalDate(DeviceClock().Now()); }

std::int64_t DeviceTime() { return DeviceClock().Now(); }

std::int64_t SecondsOfToday() {
  const std::int64_t now = DeviceClock().Now();
  const yox::LocalDate today = DeviceClock().ToLocalDate(now);
  const auto next = DeviceClock().StartOfLocalDay(today.year, today.month, today.day + 1);
  return std::max<std::int64_t>(next.value_or(now + 86'400) - now, 1);
}

}  // namespace yoxd
