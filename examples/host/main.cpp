// SPDX-License-Identifier: Apache-2.0
// A service on the C++ interface: host LIST.json [DEVICE.json]
// With a device profile, that device takes this machine's place.
#include <future>
#include <iostream>
#include <optional>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/String.h"
#include "yox/decision/Decide.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/device/MachineInformation.h"
#include "yox/notifications/YOXPublisherSubscriber.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/platform/waits/Event.h"
#include "yox/tags/AppAndTagCollection.h"

using namespace yox::literals;
using namespace yox::decision;
using YOX::String;

int main(int count, char** arguments) try {
  if (count < 2) throw yox::DocumentError("expected LIST.json [DEVICE.json]");
  const ApplicabilityFilter list = ReadFilterDocument(yox::ReadDocumentFile(arguments[1]));
  std::optional<yox::platform::SimulatedDevice> device;
  std::optional<yox::platform::ScopedPlatform> installed;
  if (count > 2) {
    device.emplace(yox::platform::ReadDeviceProfile(yox::ReadDocumentFile(arguments[2])));
    installed.emplace(*device);
  }
  // Start: the record, the stop handle, then the evaluator, which starts the library's threads.
  MachineInformation::Publish();
  yox::platform::Event stopping;
  ApplicabilityEvaluator::SetYoxIsStoppingHandle(stopping.handle());
  ApplicabilityEvaluator& evaluator = *ApplicabilityEvaluator::GetInstance();

  // Decide and explain, from any thread.
  yox::WString reason;
  const bool applies = evaluator.IsApplicable(list, nullptr, {}, reason);
  std::cout << (applies ? "applies\n" : "does not apply\n") << String::UTF16ToUTF8(reason) << "\n";
  for (const auto& filter : evaluator.Explain(list, nullptr, {}).filters) {
    for (const auto& criterion : filter.criteria) {
      std::cout << "  " << kFilterFieldNames[static_cast<std::size_t>(criterion.field)]
                << (criterion.result == CriterionResult::kHeld ? " held\n" : " failed\n");
    }
  }
  // The device's facts are a value: decide on them later, elsewhere, in any number of threads.
  const PreparedDevice facts(evaluator.CollectFacts(std::span(&list, 1)));
  const Question question{.now = 1'772'366'400};
  PreparedFacts prepared(facts, question);
  const bool on_facts = Decide(*list.snapshot(), prepared).applies == Truth::kTrue;
  std::cout << "on its facts: " << on_facts << "\n";

  AppAndTagCollection::GetInstance()->AddTags({YOXTag("Ring"_w, "beta"_w)}, true, true);

  // Notifications arrive on threads of the library's.
  YOXPublisherSubscriber& bus = *YOXPublisherSubscriber::GetInstance();
  std::promise<int> arrived;
  const auto notified = [&](YOXNotificationData& data) {
    if (data.getTopicId() == 41) arrived.set_value(data.getEventState());
  };
  const yox::WString id = bus.Subscribe(notified, false);
  bus.Notify(YOXNotificationData(41, 7, "{}"_w), {});
  std::cout << "notified: " << arrived.get_future().get() << "\n";

  // Stop: the subscriptions, the handle, the evaluator's threads, the bus.
  bus.Unsubscribe(id);
  stopping.Set();
  evaluator.Uninit();
  bus.Cleanup();
} catch (const std::exception& error) {
  std::cerr << "host: " << error.what() << "\n";
  return 1;
}
