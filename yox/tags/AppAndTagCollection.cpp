#include "yox/tags/AppAndTagCollection.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/base/ThreadSlot.h"
#include "yox/clientbase/CRegUtil.h"
#include "yox/clientbase/DateTimeUtility.h"
#include "yox/device/DeviceManagementStatus.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/registry/Registry.h"
#include "yox/tags/GpuTagGenerator.h"
#include "yox/tags/Persona.h"

using YOX::CRegUtil;
using YOX::g_log;
using yox::WString;
using yox::WStringView;
using yox::device::ManagementState;
using yox::platform::Platform;
using namespace yox::literals;

namespace {

constexpr std::uint32_t kFullAccess64Bit = 0xF013F;
constexpr int kView64Bit = 1;
constexpr std::size_t kLongestKey = 263;  // code units
constexpr const char* kAddTags = "AppAndTagCollection::AddTags";

std::shared_ptr<MachineInformation> Record() {
  return yox::YOXHelperFactory::GetInstance()->GetMachineInformationAgent();
}

// The last code unit is the terminator, without looking at it.
WString ValueOf(const yox::platform::RegistryValue& stored) {
  const std::size_t units = stored.data.size() / 2;
  WString text;
  for (std::size_t i = 0; i + 1 < units; ++i) {
    text += static_cast<yox::WChar>(stored.data[2 * i] | (stored.data[2 * i + 1] << 8));
  }
  return text;
}

// Writes a log line when the result differs from that of the last call. The lists are never
// destroyed.
const AppAndTagCollection::List& ManagementTags(bool is_managed) {
  using List = AppAndTagCollection::List;
  static const auto& managed = *new List{{"Device.Usage.IsManagedDevice"_w, "true"_w}};
  static const auto& unmanaged = *new List{{"Device.Usage.IsManagedDevice"_w, "false"_w}};
  static yox::Mutex mutex;
  static const List* reported YOX_GUARDED_BY(mutex) = nullptr;
  const List& tags = is_managed ? managed : unmanaged;
  const yox::MutexLock lock(mutex);
  if (&tags != reported) {
    g_log.d("%s: Device.Usage.IsManagedDevice %s", "AppAndTagCollection::GetDynamicMemoryTags",
            tags.front().value());
    reported = &tags;
  }
  return tags;
}

// What the management tag depends on, and the list that has it.
class StateOfTag {
 public:
  StateOfTag() = default;
  // The state at this moment, with a list of that generation.
  explicit StateOfTag(std::uint64_t list)
      : list_(list),
        tracker_(yox::device::ManagementTracker()),
        registry_(tracker_->Generation()) {}

  // Whether a later state can be compared with it.
  bool IsKnown() const { return registry_ != 0; }
  // The same, if it lasts until a moment of the steady clock, in nanoseconds.
  StateOfTag Until(std::int64_t moment) const {
    StateOfTag limited = *this;
    limited.until_ = moment;
    limited.clock_ = &Platform::Get().clock();
    limited.looked_ = limited.clock_->Tick();
    return limited;
  }
  // Whether this state has lasted until now, with a list of that generation; or until up to a
  // second ago.
  bool IsStill(std::uint64_t list) {
    return clock_ != nullptr && list_ == list && platform_ == Platform::Generation() &&
           tracker_->Generation() == registry_ && (until_ == INT64_MAX || !HasEnded());
  }
  friend bool operator==(const StateOfTag& left, const StateOfTag& right) {
    return left.list_ == right.list_ && left.platform_ == right.platform_ &&
           left.registry_ == right.registry_;
  }

 private:
  // Looks at the steady clock once a second: that costs as much as a decision.
  bool HasEnded() {
    const std::int64_t tick = clock_->Tick();
    if (tick == looked_) return false;
    looked_ = tick;
    return clock_->SteadyNanoseconds() >= until_;
  }

  std::uint64_t list_ = 0;
  std::uint64_t platform_ = Platform::Generation();
  std::shared_ptr<yox::platform::RegistryTracker> tracker_;
  std::uint64_t registry_ = 0;
  const yox::platform::Clock* clock_ = nullptr;  // the platform's; null until `until_` is set
  std::int64_t until_ = 0;
  std::int64_t looked_ = 0;  // at the steady clock in this tick
};

// The calling thread's last state.
struct ThreadsState;
constinit thread_local ThreadsState* t_state = nullptr;
struct ThreadsState {
  ~ThreadsState() { t_state = nullptr; }
  StateOfTag last;
};

}  // namespace

const WString AppAndTagCollection::szRegKeySubPath = "SOFTWARE\\Tervan\\YOX\\Applicability\\Tags"_w;
const WString AppAndTagCollection::npuExistsTag = "Device.Hardware.Npu.Exists"_w;
const WString AppAndTagCollection::npuMfrTag = "Device.Hardware.Npu.mfr"_w;
const WString AppAndTagCollection::npuDescriptionTag = "Device.Hardware.Npu.description"_w;
const WString AppAndTagCollection::oobeDateTag = "OobeDate"_w;
const WString AppAndTagCollection::daysSinceOobe = "DaysSinceOobe"_w;

AppAndTagCollection::AppAndTagCollection() = default;
AppAndTagCollection::~AppAndTagCollection() = default;

AppAndTagCollection* AppAndTagCollection::GetInstance() {
  static AppAndTagCollection instance;
  const std::uint64_t list = instance.tags_.Generation();
  if (t_state != nullptr && t_state->last.IsStill(list)) [[likely]]
    return &instance;
  const StateOfTag now(list);
  // Kept if all of it is of one moment, in which the list had the tag already.
  const std::int64_t until = instance.UpdateManagement();
  if (now.IsKnown() && StateOfTag(instance.tags_.Generation()) == now) {
    t_state = &yox::ThreadOwned<ThreadsState>();
    t_state->last = now.Until(until);
  }
  return &instance;
}

std::int64_t AppAndTagCollection::UpdateManagement() {
  if (tags_.Get()->empty()) {
    if (const auto record = Record()) record->CollectGpuNames();
    setTags(getTagsFromRegistryAndMemory());
  }
  const ManagementState management = yox::device::QueryManagement();
  for (const YOXTag& tag : ManagementTags(management.is_managed)) AddToList(tag, false);
  return management.known_until;
}

AppAndTagCollection::List AppAndTagCollection::getTags() const {
  const yox::RecursiveMutexLock lock(lock_);
  return *tags_.Get();
}

WString AppAndTagCollection::getTagsAsString() const {
  const yox::RecursiveMutexLock lock(lock_);
  const std::shared_ptr<const List> tags = tags_.Get();
  WString text;
  for (const YOXTag& tag : *tags) {
    text.append(tag.key()).append(":"_wv).append(tag.value()).append(", "_wv);
  }
  return text;
}

void AppAndTagCollection::setTags(const List& tags) {
  const yox::RecursiveMutexLock lock(lock_);
  tags_.Set(tags);
}

AppAndTagCollection::List AppAndTagCollection::getTagsFromRegistryAndMemory() {
  List tags;
  ReadRegistryKeyTags(szRegKeySubPath, &tags);
  yox::PersonaUtility utility;
  yox::Persona::GeneratePersonaTagsInternal(tags, utility);
  if (const auto record = Record()) {
    for (const WString& name : GpuTagGenerator::GenerateGpuTags(record->gpu_names())) {
      tags.emplace_back(name, WString());
    }
  }
  for (const YOXTag& tag : GetDynamicMemoryTags()) tags.push_back(tag);
  return tags;
}

std::vector<KeyValuePair<WString, WString>> AppAndTagCollection::ExtractCollecitonOfKeys(
    AppAndTagCollection* collection) {
  std::vector<KeyValuePair<WString, WString>> pairs;
  if (collection == nullptr) return pairs;
  for (const YOXTag& tag : collection->getTags()) {
    pairs.emplace_back(tag.getKey(), tag.getValue());
  }
  return pairs;
}

std::shared_ptr<const AppAndTagCollection::List> AppAndTagCollection::Shared(
    AppAndTagCollection* collection) {
  static const auto none = std::make_shared<const List>();
  return collection == nullptr ? none : collection->tags_.Get();
}

// Compare and swap, and again from the start if another thread has replaced the list meanwhile.
void AppAndTagCollection::AddToList(const YOXTag& tag, bool persist) {
  while (true) {
    const std::shared_ptr<const List> current = tags_.Get();
    const auto existing = std::ranges::find(*current, tag.key(), &YOXTag::key);
    if (existing == current->end()) {
      List changed = *current;
      changed.push_back(tag);
      if (!tags_.CompareAndSet(current, std::move(changed))) continue;
      g_log.d("%s Adding key to tag list %s %s", kAddTags, tag.key(), tag.value());
    } else if (existing->value() != tag.value()) {
      List changed = *current;
      changed[static_cast<std::size_t>(existing - current->begin())].setValue(tag.getValue());
      if (!tags_.CompareAndSet(current, std::move(changed))) continue;
      g_log.d("%s Updated existing tag key: %s old value: %s new value: %s", kAddTags, tag.key(),
              existing->value(), tag.value());
    } else if (persist) {
      g_log.d("%s Tag list already contains tag: %s %s", kAddTags, tag.key(), tag.value());
    }
    return;
  }
}

void AppAndTagCollection::AddTags(List tags, bool overwriteExisting, bool persistToRegistry) {
  for (const YOXTag& tag : tags) {
    if (tag.value().empty()) continue;
    AddToList(tag, persistToRegistry);
    if (!persistToRegistry) continue;

    CRegUtil registry;
    // Looks for a subkey, although tags are stored as values; it has to stay so. A stored tag does
    // not prevent the write.
    if (!overwriteExisting && registry.DoesKeyExistsIn64BitRegView(
                                  HKEY_LOCAL_MACHINE, szRegKeySubPath + "\\"_w + tag.getKey())) {
      continue;
    }
    if (!registry.CreateKey(HKEY_LOCAL_MACHINE, szRegKeySubPath, kView64Bit)) continue;
    if (registry.SetKeyValueIn64BitRegView(HKEY_LOCAL_MACHINE, szRegKeySubPath, tag.getKey(),
                                           tag.getValue())) {
      g_log.e("%s Added key to registry %s %s", kAddTags, tag.key(), tag.value());
    } else {
      g_log.e("%s Unable to add %s in registry", kAddTags, tag.value());
    }
  }
}

bool AppAndTagCollection::CheckIfTagsAlreadyExist() {
  WString text;
  for (const WString* const name : requiredRegistryTags) {
    if (CRegUtil::GetRegValueOfStringTypeIn64BitView(HKEY_LOCAL_MACHINE, szRegKeySubPath, *name,
                                                     text)) {
      continue;
    }
    g_log.e("%s tag does not exist in 64 bit registry %s",
            "AppAndTagCollection::CheckIfTagsAlreadyExist", *name);
    return false;
  }
  if (!CRegUtil::GetRegValueOfStringTypeIn64BitView(HKEY_LOCAL_MACHINE, szRegKeySubPath,
                                                    npuExistsTag, text)) {
    return false;
  }
  // A device without an accelerator needs no maker and no description of one.
  if (!YOX::String::CaseInsesitiveEqual(text, "true"_wv)) return true;
  return CRegUtil::GetRegValueOfStringType(HKEY_LOCAL_MACHINE, szRegKeySubPath, npuDescriptionTag,
                                           text) != 0 &&
         CRegUtil::GetRegValueOfStringType(HKEY_LOCAL_MACHINE, szRegKeySubPath, npuMfrTag, text) !=
             0;
}

void AppAndTagCollection::ReadRegistryKeyTags(const WString& path, List* tags) {
  CRegUtil registry;
  HKEY key = nullptr;
  // Full access, on purpose, although nothing is written.
  if (!registry.OpenKey(HKEY_LOCAL_MACHINE, path, key, false, {}, kFullAccess64Bit)) return;
  QueryRegistryValues(key, tags);
}

void AppAndTagCollection::QueryRegistryValues(HKEY key, List* tags) {
  if (key == nullptr) return;
  std::vector<yox::platform::RegistryEntry> values;
  yox::platform::Platform::Get().registry().Values({key, {}, {}, {}}, values, kLongestKey);
  for (const yox::platform::RegistryEntry& entry : values) {
    if (entry.value.type != yox::platform::RegistryType::kText) continue;
    tags->emplace_back(entry.name, ValueOf(entry.value));
  }
}

void AppAndTagCollection::ReadFromRegAndSetTags() {
  List tags;
  ReadRegistryKeyTags(szRegKeySubPath, &tags);
  setTags(tags);
}

void AppAndTagCollection::RefreshTags(yox::platform::WaitHandle stopEvent, bool dateFlag) {
  const yox::RecursiveMutexLock lock(lock_);
  previousTags_ = tags_.Get();
  tags_.Set(getTagsFromRegistryAndMemory());
  CollectTags(stopEvent, dateFlag, false);
}

void AppAndTagCollection::RefreshPersonaTags() {
  const yox::RecursiveMutexLock lock(lock_);
  std::shared_ptr<const List> current;
  List tags;
  // The lock does not keep AddTags out.
  do {
    current = tags_.Get();
    tags = *current;
    yox::Persona::RemovePersonaTags(tags);
    yox::PersonaUtility utility;
    yox::Persona::GeneratePersonaTagsInternal(tags, utility);
  } while (!tags_.CompareAndSet(current, std::move(tags)));
}

const AppAndTagCollection::List& AppAndTagCollection::GetDynamicMemoryTags() {
  return ManagementTags(DeviceManagementStatus::IsDeviceManaged());
}

void AppAndTagCollection::CollectTags(yox::platform::WaitHandle stopEvent, bool dateFlag,
                                      bool waitAfterBoot) {
  constexpr const char* kOrigin = "AppAndTagCollection::CollectTags";
  using yox::platform::WaitResult;
  constexpr std::int64_t kMinute = 60;
  g_log.d("%s: Enter", kOrigin);
  if (waitAfterBoot && yox::platform::Platform::Get().clock().UptimeSeconds() < kMinute) {
    g_log.d("%s: Waiting for a minute before collecting tags", kOrigin);
    // A whole minute, not what is left of the first one.
    if (yox::platform::WaitFor(stopEvent, kMinute * 1000).kind != WaitResult::Kind::kTimedOut) {
      return;
    }
  }
  const std::shared_ptr<MachineInformation> record = Record();
  if (record == nullptr) return;
  const bool written = CheckIfTagsAlreadyExist();
  if (!written) {
    // The record's texts have no lock of their own: this one keeps a refresh on another thread from
    // setting the same ones, here and below.
    const yox::RecursiveMutexLock lock(lock_);
    record->CollectNpuInfo();
  }
  record->CollectGpuNames();

  const WString days = YOX::DateTimeUtility::GetDaysSinceOobe(dateFlag);
  g_log.d("%s:DaysSinceOobe %s", kOrigin, days);
  AddTags({{daysSinceOobe, days}}, true, true);

  if (written) {
    g_log.d("%s: Npu tags already generated and saved in registry", kOrigin);
    const yox::RecursiveMutexLock lock(lock_);
    WString text;
    if (CRegUtil::GetRegValueOfStringType(HKEY_LOCAL_MACHINE, szRegKeySubPath, npuMfrTag, text)) {
      record->set_npu_mfr(text);
    } else {
      g_log.d("%s: Npu mfr not found in registry", kOrigin);
    }
    if (CRegUtil::GetRegValueOfStringType(HKEY_LOCAL_MACHINE, szRegKeySubPath, npuDescriptionTag,
                                          text)) {
      record->set_npu_description(text);
    } else {
      g_log.d("%s: Npu description not found in registry", kOrigin);
    }
  } else {
    const yox::RecursiveMutexLock lock(lock_);
    g_log.d("%s: Npu exists %s , NPU mfr %s NPU desc %s", kOrigin, record->npu_exists(),
            record->npu_mfr(), record->npu_description());
    List tags{{npuExistsTag, record->npu_exists()},
              {npuMfrTag, record->npu_mfr()},
              {npuDescriptionTag, record->npu_description()}};
    const WString first = YOX::DateTimeUtility::GetFirstRunDate(dateFlag);
    g_log.d("%s:OobeDate %s", kOrigin, first);
    tags.emplace_back(oobeDateTag, first);
    AddTags(std::move(tags), false, true);
  }
  for (const WString& tag : GpuTagGenerator::GenerateGpuTags(record->gpu_names())) {
    g_log.d("%s: Gpu tag: %s", kOrigin, tag);
  }
}
