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
class YOXTag;

namespace YOX {
class CRegMonitor;
}

namespace yox {
class PersonaTagRegistryMonitor;
}

namespace yox::applicability {
class BucketCache;
class ClientVersion;
class KeptTags;
struct IndexedPairs;
}  // namespace yox::applicability

namespace yox::decision {
struct DecisionTrace;
struct Explanation;
struct FactsRecord;
struct RegistryRequirement;
}  // namespace yox::decision

// How many terms of a comma-separated list must match.
enum class EvaluationModeForKVP : int { AllTerms = 0, AnyTerm = 1 };

// Decides whether a piece of content, described by an ordered list of filters, applies to this
// device, and if not, why not. The first filter that matches decides; a filter with `default`
// decides without a look at its criteria. A process-wide singleton; IsApplicable,
// EvaluateApplicability, Explain, Trace and CollectFacts are safe from any thread.
//
// While it runs, the singleton keeps its inputs up to date. One task watches the registry: when an
// uninstall key changes, it reads the installed applications again at once. When the tags' key or
// the user's persona changes, a second task waits for a minute, refreshes the tag collection once
// and publishes topic 30, event 307. The host calls SetYoxIsStoppingHandle and then GetInstance; at
// its end it signals the handle and then calls Uninit.
class YOX_API ApplicabilityEvaluator {
 public:
  using Pairs = std::vector<KeyValuePair<yox::WString, yox::WString>>;

  // Pass this text in `reason` if no reason is wanted: it is then not written.
  static yox::WString discard_reason_;

  // Returns the singleton, never null. The first call creates it, opens the evaluator's log and
  // starts both tasks; it lives until the process ends. Throws std::future_error or
  // std::system_error if a task cannot be started; later calls then return the instance. Safe from
  // any thread.
  static ApplicabilityEvaluator* GetInstance();

  // Creates an evaluator without tasks: it has no threads and no watches. Its decisions,
  // explanations and facts are the same as the singleton's. For tools.
  static std::unique_ptr<ApplicabilityEvaluator> CreateWithoutTasks();

  // Sets the host's event, which the host signals to stop the tasks: a handle of an event on
  // Windows, an eventfd on Linux. It is not owned and must live until Uninit has returned. The tag
  // task reads it once, a second after the start; without a handle that task ends after six
  // failures, about a second apart. Safe from any thread.
  static void SetYoxIsStoppingHandle(yox::platform::WaitHandle handle);
  static yox::platform::WaitHandle GetYoxIsStoppingHandle();

  // Ends both tasks and the watches, and waits for them. The stop handle must be signalled before,
  // or this does not return. Further calls do nothing. Decisions are possible afterwards, but the
  // inputs are no longer kept up to date. Called by the destructor.
  void Uninit();

  // To be called by the host after a user has logged on: watches that user's persona instead, and
  // refreshes the persona tags. Does nothing before the watches have started.
  void RefreshPersonaTagMonitoring();

  virtual ~ApplicabilityEvaluator();
  ApplicabilityEvaluator(const ApplicabilityEvaluator&) = delete;
  ApplicabilityEvaluator& operator=(const ApplicabilityEvaluator&) = delete;

  // Decides for this device: with its tags, its client's version, and the machine record in the
  // helper factory (see MachineInformation::Publish); otherwise as EvaluateApplicability. After an
  // exception, and without a machine record, the list applies: the exception is logged, and
  // `reason` keeps its text.
  virtual bool IsApplicable(const ApplicabilityFilter& filter, yox::WString* targetVersion,
                            const Pairs& extraTags, yox::WString& reason);

  // Decides for inputs that the caller supplies. `tagCollection` and `targetVersion` may be null.
  // `reason` is cleared and then contains one part for each filter that was evaluated, such as
  // "Filter [0]: country = false; Filter [1]: true; ". An empty list applies.
  //
  // If a version criterion is evaluated, `clientVersion` and `*targetVersion` are trimmed in place,
  // although the first is const: do not pass an object that is in read-only memory or read by other
  // threads, unless it has no surrounding white space.
  //
  // Throws std::invalid_argument("machineInformation") for a null record.
  bool EvaluateApplicability(std::shared_ptr<MachineInformation> machineInformation,
                             const yox::WString& clientVersion, const ApplicabilityFilter& filter,
                             AppAndTagCollection* tagCollection, yox::WString* targetVersion,
                             const Pairs& extraTags, yox::WString& reason);

  // Explains the decision of IsApplicable: for each criterion what was required and what the device
  // has (Explanation.h). The list is decided, and then each criterion is evaluated by itself on the
  // same values. Writes no log line, changes no log throttle and trims no text of the caller.
  // Fetches only the facts that the criteria need; a `hardware_id` starts the tracking of devices.
  // Throws std::invalid_argument("machineInformation") without a machine record.
  yox::decision::Explanation Explain(const ApplicabilityFilter& filter,
                                     const yox::WString* targetVersion, const Pairs& extraTags);
  yox::decision::Explanation Explain(const std::shared_ptr<MachineInformation>& machineInformation,
                                     const yox::WString& clientVersion,
                                     const ApplicabilityFilter& filter,
                                     AppAndTagCollection* tagCollection,
                                     const yox::WString* targetVersion, const Pairs& extraTags);

  // The short form, as cheap as a decision: which filter decided, and the first criterion that
  // failed in each filter before it. FlippedBy (Explanation.h) compares two of them.
  yox::decision::DecisionTrace Trace(const ApplicabilityFilter& filter,
                                     const yox::WString* targetVersion, const Pairs& extraTags);
  yox::decision::DecisionTrace Trace(const std::shared_ptr<MachineInformation>& machineInformation,
                                     const yox::WString& clientVersion,
                                     const ApplicabilityFilter& filter,
                                     AppAndTagCollection* tagCollection,
                                     const yox::WString* targetVersion, const Pairs& extraTags);

  // Returns the facts of this device at this moment, as a value with which any thread can decide
  // later (FactsRecord.h): all facts except the registry, and the registry values that the given
  // lists require. The texts are not trimmed. The id is empty; the time zone is unknown if the
  // system does not name it, as on Windows. Starts the tracking of devices. Throws
  // std::invalid_argument("machineInformation") without a machine record.
  yox::decision::FactsRecord CollectFacts(std::span<const ApplicabilityFilter> lists);

 protected:
  ApplicabilityEvaluator();
  // Starts the tasks. Called once, by GetInstance.
  void Init();

  bool DoesFilterMatch(Filter* filter, std::shared_ptr<MachineInformation> machineInformation,
                       const yox::WString& clientVersion, AppAndTagCollection* tagCollection,
                       yox::WString* targetVersion, const Pairs& extraTags, yox::WString& reason);

  // The first parameter is the requirement, the second the device's value; MatchOperators.h
  // describes the languages.
  bool EvaluateStringFilter(const yox::WString& required, const yox::WString& actual);
  // Trims `actual` as DoesVersionMatch does.
  bool EvaluateVersionFilter(const yox::WString& required, const yox::WString& actual);
  bool EvaluateKvpFilter(const yox::WString& required, const Pairs& pairs,
                         EvaluationModeForKVP mode);
  bool DoesStringMatch(const yox::WString& pattern, const yox::WString& actual);
  // These two trim their arguments in place, although they are const: do not pass objects in
  // read-only memory. DoesIntMatch throws std::invalid_argument or std::out_of_range if one is not
  // an integer of 32 bits.
  bool DoesVersionMatch(const yox::WString& pattern, const yox::WString& actual);
  bool DoesIntMatch(const yox::WString& pattern, const yox::WString& actual);
  // An exception from a comparison is logged and counts as false.
  bool DoesKvpMatch(const yox::WString& term, const Pairs& pairs);

  bool IsCurrentDateWithinRange(const yox::WString& range);
  bool DoesDateFunctionMatch(const yox::WString& function, const yox::WString* serialNumber,
                             const yox::WString* orgName);
  // "HIVE\\Key:Value|Data,..." with the hive HKLM or HKCU; all must match. The data is a text
  // pattern. If the process runs as the system account, HKCU is the hive of the user who is logged
  // on.
  bool EvaluateRegistryFilter(const yox::WString& requirements);
  // Evaluates one requirement. The hive is removed from `path`. The vector has two elements: the
  // value's name and the data. A host may override it.
  virtual bool DoesRequirementPathandValueExistInRegistry(
      yox::WString& path, const std::vector<yox::WString>& valueAndData);
  // Removes the hive from a path and returns it; null for a hive of another name, or when
  // separators are missing or mixed. Letters of the hive's name that the key's name starts with are
  // removed along with the hive, on purpose.
  HKEY GetHKeyAndModifyRegistryPath(yox::WString& path);
  // Returns a value's data as the text that a requirement's data is compared with. Reads no byte
  // after `size`.
  yox::WString ConvertRegValueToString(const std::uint8_t* data, std::uint32_t type,
                                       std::uint32_t size);
  bool EvaluateHardwareIdFilter(const yox::WString& required);

  // Returns the salted SHA-256 of the text, as 64 hexadecimal digits.
  yox::WString GetHashedSaltedString(yox::WString text);

 private:
  class RunningDevice;
  struct RegistryReading;
  using IndexedPairs = yox::applicability::IndexedPairs;

  bool MeetsRegistryRequirement(const yox::decision::RegistryRequirement& requirement);
  // Reads a value as text, with HKCU as in EvaluateRegistryFilter.
  RegistryReading ReadRegistry(HKEY hive, const yox::WString& path, const yox::WString& name);

  void AddToReasonString(yox::WString& reason, yox::WString name, bool matched);
  static yox::WString& SetDiscardedReason();

  // Reads the installed applications from the device.
  void UpdateInstalledAppsMap() YOX_REQUIRES(installedAppsLock);
  // Returns both names of each installed application with its version, sorted by key. Reads them
  // from the device if none are known, or if they have changed without a notification.
  std::shared_ptr<const IndexedPairs> InstalledItems();
  // Returns the tags as pairs with an index, which is kept until other tags are passed.
  std::shared_ptr<const IndexedPairs> Indexed(
      const std::shared_ptr<const std::vector<YOXTag>>& tags);
  // EvaluateApplicability, with the tags of the process's collection as IsApplicable keeps them if
  // `keeps_tags` is true.
  bool Decide(const MachineInformation* machine, const yox::WString& client_version,
              const ApplicabilityFilter& filter, AppAndTagCollection* tags, bool keeps_tags,
              yox::WString* target_version, const Pairs& extra_tags, yox::WString& reason);

  static std::atomic<ApplicabilityEvaluator*> applicability_evaluator_;
  static yox::Mutex instance_mutex_;

  void RunRegMonitor();
  void NotifyTagUpdatesThread();
  // Does nothing: to get a subscriber id from the bus, a callback is needed.
  void OnYOXNotification(YOXNotificationData& record);
  void StartPersonaMonitor();
  std::shared_ptr<yox::PersonaTagRegistryMonitor> PersonaMonitor();
  static yox::platform::WaitHandle TagsChangedHandle();

  static yox::Mutex handles_mutex_;
  // Owned by the evaluator that created it, see owns_event_.
  static yox::platform::Event* tagsRegistryChanged_ YOX_GUARDED_BY(handles_mutex_);
  // Owned by the host.
  static yox::platform::WaitHandle yoxIsStopping_ YOX_GUARDED_BY(handles_mutex_);

  YOX::utility::AppMap installedAppsMap YOX_GUARDED_BY(installedAppsLock);
  // Built from the map.
  std::shared_ptr<const IndexedPairs> installedItems_ YOX_GUARDED_BY(installedAppsLock);
  std::uint64_t installedGeneration_ YOX_GUARDED_BY(installedAppsLock) = 0;
  yox::Mutex installedAppsLock;
  LogThrottler logThrottler;
  const std::unique_ptr<yox::applicability::BucketCache> buckets_;
  const std::unique_ptr<yox::applicability::ClientVersion> client_version_;
  const std::unique_ptr<yox::applicability::KeptTags> kept_tags_;
  std::atomic<bool> warned_{false};  // that there is no machine record

  yox::Mutex tags_mutex_;
  std::shared_ptr<const std::vector<YOXTag>> tags_ YOX_GUARDED_BY(tags_mutex_);
  std::shared_ptr<const IndexedPairs> indexed_tags_ YOX_GUARDED_BY(tags_mutex_);  // of `tags_`

  yox::Mutex monitors_mutex_;
  // Created by the task that watches the registry; the second is replaced at log-on.
  std::shared_ptr<YOX::CRegMonitor> regMonitor YOX_GUARDED_BY(monitors_mutex_);
  std::shared_ptr<yox::PersonaTagRegistryMonitor> personaMonitor YOX_GUARDED_BY(monitors_mutex_);
  yox::platform::Event hurry_;  // set by Uninit; ends the wait of the first second
  bool owns_event_ = false;
  yox::WString subscriberId;
  std::atomic<bool> initialized{false};
  std::atomic<bool> uninitialized{false};
  std::future<void> regMonitorTask;
  std::future<void> tagUpdateTask;
};
