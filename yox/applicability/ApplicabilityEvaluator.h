#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <span>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"
#include "yox/clientbase/InstalledApps.h"
#include "yox/decision/Filter.h"
#include "yox/foundation/KeyValuePair.h"
#include "yox/foundation/LogThrottler.h"
#include "yox/platform/registry/RegistryRoots.h"
#include "yox/platform/waits/Event.h"
#include "yox/platform/waits/Waits.h"

class AppAndTagCollection;
class MachineInformation;
class YOXNotificationData;

namespace YOX {
class CRegMonitor;
}

namespace yox {
class PersonaTagRegistryMonitor;
}

namespace yox::applicability {
class BucketCache;
}

namespace yox::decision {
struct DecisionTrace;
struct Explanation;
struct FactsRecord;
struct RegistryRequirement;
}  // namespace yox::decision

// How many terms of a list of key and value terms must hold.
enum class EvaluationModeForKVP : int { AllTerms = 0, AnyTerm = 1 };

// Decides whether a piece of content, described by an ordered list of filters, applies to this
// device, and if not, why not. The first filter that matches decides; a filter with `default`
// decides unseen. A process-wide singleton whose decisions may be asked for from any thread.
//
// The running singleton keeps what it decides by fresh. One task watches the registry: an uninstall
// key that changes has the installed applications asked for anew at once; a change of the tags'
// key, like one of the user's persona, is held back for a minute, and then a second task refreshes
// the tag collection once and publishes topic 30, event 307. The host sets the stop handle, asks
// for the instance, and at the end signals the handle and then calls Uninit.
class YOX_API ApplicabilityEvaluator {
 public:
  using Pairs = std::vector<KeyValuePair<yox::WString, yox::WString>>;

  // A reason that holds this text on entry is neither read nor written: the caller wants none.
  static yox::WString discard_reason_;

  // Never null; created by the first call, which opens the evaluator's log and starts both tasks.
  // Lives until the process ends. Throws std::future_error or std::system_error when a task cannot
  // be started; the instance is there nevertheless.
  static ApplicabilityEvaluator* GetInstance();

  // Creates an evaluator for decisions alone: it watches nothing and starts no thread. Its
  // decisions, explanations and facts are those of the singleton. For tools.
  static std::unique_ptr<ApplicabilityEvaluator> CreateWithoutTasks();

  // The host's event, which it signals to stop the tasks; not owned. On Linux an eventfd will do.
  // The tag task looks at it once, a second after the start; without one it gives up after six
  // failures, about a second apart.
  static void SetYoxIsStoppingHandle(yox::platform::WaitHandle handle);
  static yox::platform::WaitHandle GetYoxIsStoppingHandle();

  // Ends both tasks and the watches; the first call counts. The stop handle has to be signalled
  // before, or this does not return. Decisions can still be asked for afterwards, with nothing kept
  // fresh. The destructor does it too.
  void Uninit();

  // For the host at a log-on: watches the persona of who is logged on now, and refreshes its tags.
  // Does nothing before the watches are there.
  void RefreshPersonaTagMonitoring();

  virtual ~ApplicabilityEvaluator();
  ApplicabilityEvaluator(const ApplicabilityEvaluator&) = delete;
  ApplicabilityEvaluator& operator=(const ApplicabilityEvaluator&) = delete;

  // The decision over this device: its tags, its client's version, and the machine record that the
  // helper factory holds; otherwise as EvaluateApplicability. An exception, which a missing record
  // is, makes the list apply: it is logged, and `reason` keeps what it has.
  virtual bool IsApplicable(const ApplicabilityFilter& filter, yox::WString* targetVersion,
                            const Pairs& extraTags, yox::WString& reason);

  // The decision over inputs that the caller supplies. `tagCollection` and `targetVersion` may be
  // null. `reason` is cleared and receives one part for each filter passed, such as "Filter [0]:
  // country = false; Filter [1]: true; ". An empty list applies.
  //
  // `clientVersion` and the text behind `targetVersion` may come back without surrounding white
  // space, constant or not, when a version criterion met them: do not pass an object that is stored
  // in read-only memory or read by other threads unless it is trimmed already.
  //
  // Throws std::invalid_argument("machineInformation") for a null record.
  bool EvaluateApplicability(std::shared_ptr<MachineInformation> machineInformation,
                             const yox::WString& clientVersion, const ApplicabilityFilter& filter,
                             AppAndTagCollection* tagCollection, yox::WString* targetVersion,
                             const Pairs& extraTags, yox::WString& reason);

  // Why: the decision of IsApplicable, and what each criterion of the list required and met
  // (Explanation.h). The list is decided as ever, and then each criterion by itself, on the same
  // values. Leaves no trace: no line is logged, no throttle moved, no text of the caller trimmed;
  // only what the criteria look at is fetched, which starts the tracking of devices for a
  // `hardware_id`. Throws std::invalid_argument("machineInformation") without a machine record.
  yox::decision::Explanation Explain(const ApplicabilityFilter& filter,
                                     const yox::WString* targetVersion, const Pairs& extraTags);
  yox::decision::Explanation Explain(const std::shared_ptr<MachineInformation>& machineInformation,
                                     const yox::WString& clientVersion,
                                     const ApplicabilityFilter& filter,
                                     AppAndTagCollection* tagCollection,
                                     const yox::WString* targetVersion, const Pairs& extraTags);

  // The same decision with the first criterion that failed in each filter, and nothing else: as
  // cheap as a decision. FlippedBy tells what lies between two of them.
  yox::decision::DecisionTrace Trace(const ApplicabilityFilter& filter,
                                     const yox::WString* targetVersion, const Pairs& extraTags);
  yox::decision::DecisionTrace Trace(const std::shared_ptr<MachineInformation>& machineInformation,
                                     const yox::WString& clientVersion,
                                     const ApplicabilityFilter& filter,
                                     AppAndTagCollection* tagCollection,
                                     const yox::WString* targetVersion, const Pairs& extraTags);

  // Returns what the 22 criteria see on this device now, as a value on which any thread can decide
  // later (FactsRecord.h): all facts but the registry, and of the registry the values that the
  // given lists ask for. The texts are as the device has them. The id stays empty; the time zone
  // stays unknown where the system does not name it, as on Windows. Starts the tracking of devices.
  // Throws std::invalid_argument("machineInformation") without a machine record.
  yox::decision::FactsRecord CollectFacts(std::span<const ApplicabilityFilter> lists);

 protected:
  ApplicabilityEvaluator();
  // Once, by GetInstance.
  void Init();

  bool DoesFilterMatch(Filter* filter, std::shared_ptr<MachineInformation> machineInformation,
                       const yox::WString& clientVersion, AppAndTagCollection* tagCollection,
                       yox::WString* targetVersion, const Pairs& extraTags, yox::WString& reason);

  // A requirement comes first, the device's value second; the languages are told in
  // MatchOperators.h.
  bool EvaluateStringFilter(const yox::WString& required, const yox::WString& actual);
  // Trims `actual` as DoesVersionMatch does.
  bool EvaluateVersionFilter(const yox::WString& required, const yox::WString& actual);
  bool EvaluateKvpFilter(const yox::WString& required, const Pairs& pairs,
                         EvaluationModeForKVP mode);
  bool DoesStringMatch(const yox::WString& pattern, const yox::WString& actual);
  // These two trim what they are given, constant or not, where there is something to trim: the
  // objects must not be constants of the program. DoesIntMatch throws std::invalid_argument and
  // std::out_of_range.
  bool DoesVersionMatch(const yox::WString& pattern, const yox::WString& actual);
  bool DoesIntMatch(const yox::WString& pattern, const yox::WString& actual);
  // An exception of a comparison is logged and counts as false.
  bool DoesKvpMatch(const yox::WString& term, const Pairs& pairs);

  bool IsCurrentDateWithinRange(const yox::WString& range);
  bool DoesDateFunctionMatch(const yox::WString& function, const yox::WString* serialNumber,
                             const yox::WString* orgName);
  // "HIVE\\Key:Value|Data,..." with the hive HKLM or HKCU; all have to hold. The data is a text
  // pattern. Run by the system's account, HKCU is the hive of the user who is logged on.
  bool EvaluateRegistryFilter(const yox::WString& requirements);
  // One requirement of the list; `path` becomes what is looked up below the hive. The vector holds
  // the value's name and the data.
  virtual bool DoesRequirementPathandValueExistInRegistry(
      yox::WString& path, const std::vector<yox::WString>& valueAndData);
  // Null for a hive of another name, or when separators are missing or mixed. Letters of the hive's
  // name that the key's name starts with are removed along with the hive, on purpose.
  HKEY GetHKeyAndModifyRegistryPath(yox::WString& path);
  // The value as the data of a requirement sees it; reads no byte behind `size`.
  yox::WString ConvertRegValueToString(const std::uint8_t* data, std::uint32_t type,
                                       std::uint32_t size);
  bool EvaluateHardwareIdFilter(const yox::WString& required);

  // The salted hash of the text as hexadecimal text.
  yox::WString GetHashedSaltedString(yox::WString text);

 private:
  class RunningDevice;
  struct RegistryReading;

  bool MeetsRegistryRequirement(const yox::decision::RegistryRequirement& requirement);
  // A value as the data of a requirement sees it; HKCU as EvaluateRegistryFilter has it.
  RegistryReading ReadRegistry(HKEY hive, const yox::WString& path, const yox::WString& name);

  void AddToReasonString(yox::WString& reason, yox::WString name, bool matched);
  static yox::WString& SetDiscardedReason();

  // Asks the device anew what is installed.
  void UpdateInstalledAppsMap() YOX_REQUIRES(installedAppsLock);
  // Both names of each installed application with its version, sorted by key. Asks the device when
  // nothing is known, or when what is known is old without anybody having told.
  std::shared_ptr<const Pairs> InstalledItems();

  static std::atomic<ApplicabilityEvaluator*> applicability_evaluator_;
  static yox::Mutex instance_mutex_;

  void RunRegMonitor();
  void NotifyTagUpdatesThread();
  // The bus wants a callback of who wants an id.
  void OnYOXNotification(YOXNotificationData& record);
  void StartPersonaMonitor();
  std::shared_ptr<yox::PersonaTagRegistryMonitor> PersonaMonitor();
  static yox::platform::WaitHandle TagsChangedHandle();

  static yox::Mutex handles_mutex_;
  // Owned by the evaluator that created it.
  static yox::platform::Event* tagsRegistryChanged_ YOX_GUARDED_BY(handles_mutex_);
  // The host's.
  static yox::platform::WaitHandle yoxIsStopping_ YOX_GUARDED_BY(handles_mutex_);

  YOX::utility::AppMap installedAppsMap YOX_GUARDED_BY(installedAppsLock);
  // Built from the map.
  std::shared_ptr<const Pairs> installedItems_ YOX_GUARDED_BY(installedAppsLock);
  std::uint64_t installedGeneration_ YOX_GUARDED_BY(installedAppsLock) = 0;
  yox::Mutex installedAppsLock;
  LogThrottler logThrottler;
  const std::unique_ptr<yox::applicability::BucketCache> buckets_;
  std::atomic<bool> warned_{false};  // that there is no machine record

  yox::Mutex monitors_mutex_;
  // Created by the task that watches the registry; the second is replaced at log-on.
  std::shared_ptr<YOX::CRegMonitor> regMonitor YOX_GUARDED_BY(monitors_mutex_);
  std::shared_ptr<yox::PersonaTagRegistryMonitor> personaMonitor YOX_GUARDED_BY(monitors_mutex_);
  yox::platform::Event hurry_;  // set by the end: ends the first second
  bool owns_event_ = false;
  yox::WString subscriberId;
  std::atomic<bool> initialized{false};
  std::atomic<bool> uninitialized{false};
  std::future<void> regMonitorTask;
  std::future<void> tagUpdateTask;
};
