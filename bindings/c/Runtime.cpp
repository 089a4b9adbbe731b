// SPDX-License-Identifier: Apache-2.0
// The library at work in this process, and the device that it runs on.
#include <atomic>
#include <filesystem>
#include <optional>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/SimulatedProcess.h"
#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/device/MachineInformation.h"
#include "yox/notifications/YOXPublisherSubscriber.h"
#include "yox/platform/Platform.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/platform/waits/Event.h"
#include "yox/tags/AppAndTagCollection.h"

#include "bindings/c/Handles.h"

using namespace yox::c;  // NOLINT: only C functions are defined here
using yox::String;

struct yox_runtime {
  yox::Mutex mutex;
  std::vector<Registration*> registrations YOX_GUARDED_BY(mutex);
  std::optional<yox::platform::SimulatedDevice> device;
  std::optional<yox::platform::ScopedPlatform> installed;
  yox::platform::Event stopping;
  std::atomic<bool> uses_bus{false};
  // One of the two: the process's own, with its threads, or one for decisions alone.
  ApplicabilityEvaluator* watching = nullptr;
  std::unique_ptr<ApplicabilityEvaluator> idle;

  ApplicabilityEvaluator& evaluator() { return watching != nullptr ? *watching : *idle; }
};

namespace {

// What of the process this interface has used. Platform and machine record belong to the process,
// so there is one runtime, and facts of profiles are collected without it.
struct Process {
  yox::Mutex mutex;
  bool was_started YOX_GUARDED_BY(mutex) = false;
  yox_runtime* running YOX_GUARDED_BY(mutex) = nullptr;
  // The machine record is that of a profile whose facts were collected.
  bool has_foreign_record YOX_GUARDED_BY(mutex) = false;
};

Process& TheProcess() {
  static auto& process = *new Process;
  return process;
}

std::filesystem::path PathOf(const char* directory) {
  if (directory == nullptr) return {};
  const std::string_view text = Utf8(directory, "options.directory");
  return std::u8string(text.begin(), text.end());
}

void PublishRecord(bool is_foreign) {
  const auto record = MachineInformation::Publish();
  if (!is_foreign) return;
  record->ReInitialize(true);
  AppAndTagCollection::GetInstance()->setTags({});  // an empty list is filled again
}

yox_pairs* TagPairs() {
  auto pairs = std::make_unique<yox_pairs>();
  for (const YOXTag& tag : AppAndTagCollection::GetInstance()->getTags()) {
    pairs->pairs.emplace_back(String::UTF16ToUTF8(tag.key()), String::UTF16ToUTF8(tag.value()));
  }
  return pairs.release();
}

// The target version and tags of a question about the running device.
struct RunningQuestion {
  explicit RunningQuestion(const yox_question* question) : of(QuestionOf(question)) {}

  yox::WString* target() { return of.target_version ? &*of.target_version : nullptr; }

  yox::decision::Question of;
};

// A subscriber of the bus.
class Subscriber final : public Registration {
 public:
  Subscriber(yox_notified notified, void* context, bool first) {
    id_ = YOXPublisherSubscriber::GetInstance()->Subscribe(
        [notified, context](YOXNotificationData& data) {
          const std::string payload = String::UTF16ToUTF8(data.getPayload());
          const yox_notification record = {.size = sizeof record,
                                           .topic = data.getTopicId(),
                                           .event = data.getEventState(),
                                           .payload = Text(payload)};
          notified(context, &record);
        },
        first);
    if (id_.empty()) throw Failure(YOX_STATE, "the bus is stopped");
  }

  ~Subscriber() override { Subscriber::End(); }

  void End() override { YOXPublisherSubscriber::GetInstance()->Unsubscribe(id_); }
  const yox::WString& id() const { return id_; }

 private:
  yox::WString id_;
};

}  // namespace

struct yox_subscription {
  yox_subscription(yox_notified notified, void* context, bool first)
      : subscriber(notified, context, first) {}

  Subscriber subscriber;
};

namespace yox::c {

platform::Registry& RegistryOf(yox_runtime* runtime) {
  Required(runtime, "runtime");
  return platform::Platform::Get().registry();
}

void Add(yox_runtime& runtime, Registration& registration) {
  const MutexLock lock(runtime.mutex);
  runtime.registrations.push_back(&registration);
}

void Remove(Registration& registration) {
  registration.End();
  Process& process = TheProcess();
  const MutexLock lock(process.mutex);
  if (process.running == nullptr) return;
  const MutexLock registrations(process.running->mutex);
  std::erase(process.running->registrations, &registration);
}

}  // namespace yox::c

yox_status yox_facts_from_profile(const char* profile, size_t size, const yox_list* const* lists,
                                  size_t list_count, yox_facts** facts) {
  return Guarded([&] {
    Required(facts, "facts");
    const auto filters = ListsOf(lists, list_count);
    const auto document = yox::platform::ReadDeviceProfile(Document(profile, size, "profile"));
    Process& process = TheProcess();
    const yox::MutexLock lock(process.mutex);
    if (process.running != nullptr) throw Failure(YOX_STATE, "a runtime is running");
    process.has_foreign_record = true;
    *facts = new yox_facts(yox::applicability::FactsOf(document, filters));
  });
}

yox_status yox_runtime_start(const yox_runtime_options* options, yox_runtime** runtime) {
  return Guarded([&] {
    Required(runtime, "runtime");
    const yox_runtime_options given = Read(options, "options");
    auto started = std::make_unique<yox_runtime>();
    Process& process = TheProcess();
    const yox::MutexLock lock(process.mutex);
    if (process.was_started) {
      throw Failure(YOX_STATE, "a runtime was started already in this process");
    }
    if (given.profile != nullptr) {
      started->device.emplace(yox::platform::ReadDeviceProfile(
                                  Document(given.profile, given.profile_size, "options.profile")),
                              PathOf(given.directory));
      started->installed.emplace(*started->device);
    }
    PublishRecord(process.has_foreign_record);
    if (given.watch != 0) {
      ApplicabilityEvaluator::SetYoxIsStoppingHandle(started->stopping.handle());
      started->uses_bus = true;
      started->watching = ApplicabilityEvaluator::GetInstance();
    } else {
      started->idle = ApplicabilityEvaluator::CreateWithoutTasks();
    }
    process.was_started = true;
    process.running = started.get();
    *runtime = started.release();
  });
}

void yox_runtime_stop(yox_runtime* runtime) {
  if (runtime == nullptr) return;
  Guarded([&] {
    const std::unique_ptr<yox_runtime> stopped(runtime);
    Process& process = TheProcess();
    {
      const yox::MutexLock lock(process.mutex);
      process.running = nullptr;
    }
    // The order matters: the evaluator publishes on the bus until its threads have ended, and both
    // use the platform.
    runtime->stopping.Set();
    if (runtime->watching != nullptr) runtime->watching->Uninit();
    std::vector<Registration*> registrations;
    {
      const yox::MutexLock lock(runtime->mutex);
      registrations.swap(runtime->registrations);
    }
    for (Registration* const registration : registrations) registration->End();
    if (runtime->uses_bus) YOXPublisherSubscriber::GetInstance()->Cleanup();
    ApplicabilityEvaluator::SetYoxIsStoppingHandle(nullptr);
  });
}

yox_status yox_device_record(yox_runtime* runtime, yox_pairs** record) {
  return Guarded([&] {
    Required(runtime, "runtime");
    Required(record, "record");
    const auto machine = MachineInformation::GetShared();
    auto pairs = std::make_unique<yox_pairs>();
#define YOX_PAIR(name, ...)        \
  pairs->pairs.emplace_back(#name, \
                            String::UTF16ToUTF8(machine->View(MachineInformation::Text::name)));
    YOX_MACHINE_TEXTS(YOX_PAIR, YOX_PAIR)
#undef YOX_PAIR
    *record = pairs.release();
  });
}

yox_status yox_device_refresh(yox_runtime* runtime) {
  return Guarded([&] {
    Required(runtime, "runtime");
    MachineInformation::GetInstance()->ReInitialize(true);
  });
}

yox_status yox_device_facts(yox_runtime* runtime, const yox_list* const* lists, size_t list_count,
                            yox_facts** facts) {
  return Guarded([&] {
    Required(facts, "facts");
    *facts = new yox_facts(
        Required(runtime, "runtime").evaluator().CollectFacts(ListsOf(lists, list_count)));
  });
}

yox_status yox_device_decide(yox_runtime* runtime, const yox_list* list,
                             const yox_question* question, int32_t* applies, yox_string** reason) {
  return Guarded([&] {
    Required(applies, "applies");
    RunningQuestion asked(question);
    yox::WString text;
    const bool decided =
        Required(runtime, "runtime")
            .evaluator()
            .IsApplicable(Required(list, "list").filter, asked.target(), asked.of.extra_tags, text);
    if (reason != nullptr) *reason = NewString(String::UTF16ToUTF8(text));
    *applies = decided ? YOX_TRUE : YOX_FALSE;
  });
}

yox_status yox_device_trace(yox_runtime* runtime, const yox_list* list,
                            const yox_question* question, yox_trace** trace) {
  return Guarded([&] {
    Required(trace, "trace");
    RunningQuestion asked(question);
    auto traced = Required(runtime, "runtime")
                      .evaluator()
                      .Trace(Required(list, "list").filter, asked.target(), asked.of.extra_tags);
    const int32_t applies = traced.applies ? YOX_TRUE : YOX_FALSE;
    *trace = NewTrace(std::move(traced), applies);
  });
}

yox_status yox_device_explain(yox_runtime* runtime, const yox_list* list,
                              const yox_question* question, yox_explanation** explanation) {
  return Guarded([&] {
    Required(explanation, "explanation");
    RunningQuestion asked(question);
    *explanation = NewExplanation(
        Required(runtime, "runtime")
            .evaluator()
            .Explain(Required(list, "list").filter, asked.target(), asked.of.extra_tags));
  });
}

yox_status yox_tags_get(yox_runtime* runtime, yox_pairs** tags) {
  return Guarded([&] {
    Required(runtime, "runtime");
    Required(tags, "tags");
    *tags = TagPairs();
  });
}

yox_status yox_tags_add(yox_runtime* runtime, const yox_pair* tags, size_t count, int32_t persist) {
  return Guarded([&] {
    Required(runtime, "runtime");
    AppAndTagCollection::List list;
    for (const auto& pair : PairsOf(tags, count, "tags"))
      list.emplace_back(pair.key(), pair.value());
    AppAndTagCollection::GetInstance()->AddTags(std::move(list), true, persist != 0);
  });
}

yox_status yox_tags_refresh(yox_runtime* runtime) {
  return Guarded([&] {
    AppAndTagCollection::GetInstance()->RefreshTags(Required(runtime, "runtime").stopping.handle(),
                                                    true);
  });
}

yox_status yox_bus_subscribe(yox_runtime* runtime, yox_notified notified, void* context,
                             int32_t first, yox_subscription** subscription) {
  return Guarded([&] {
    Required(runtime, "runtime");
    Required(notified, "notified");
    Required(subscription, "subscription");
    runtime->uses_bus = true;
    auto subscribed = std::make_unique<yox_subscription>(notified, context, first != 0);
    Add(*runtime, subscribed->subscriber);
    *subscription = subscribed.release();
  });
}

void yox_bus_unsubscribe(yox_subscription* subscription) {
  if (subscription == nullptr) return;
  Guarded([&] {
    const std::unique_ptr<yox_subscription> freed(subscription);
    Remove(freed->subscriber);
  });
}

yox_status yox_bus_publish(yox_runtime* runtime, int32_t topic, int32_t event, const char* payload,
                           const yox_subscription* sender) {
  return Guarded([&] {
    Required(runtime, "runtime").uses_bus = true;
    YOXPublisherSubscriber::GetInstance()->Notify(
        YOXNotificationData(topic, event, Wide(payload, "payload")),
        sender == nullptr ? yox::WString() : sender->subscriber.id());
  });
}

yox_status yox_bus_last_event(yox_runtime* runtime, int32_t topic, int32_t* event) {
  return Guarded([&] {
    Required(runtime, "runtime");
    Required(event, "event");
    EventState state = EventState::NotSet;
    if (!YOXPublisherSubscriber::GetInstance()->GetLastNotificationForTopic(TopicId{topic},
                                                                            state)) {
      throw Failure(YOX_NOT_FOUND, "no record of this topic was delivered");
    }
    *event = static_cast<int32_t>(state);
  });
}
