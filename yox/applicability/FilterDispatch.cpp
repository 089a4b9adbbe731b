#include <algorithm>
#include <stdexcept>

#include "yox/applicability/Decision.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/LoggedMatch.h"
#include "yox/applicability/TrimInPlace.h"
#include "yox/base/String.h"
#include "yox/clientbase/EpUrlProvider.h"
#include "yox/clientbase/MSStorePackageEnumerator.h"
#include "yox/clientbase/SMBiosInformationRetriever.h"
#include "yox/decision/Fetched.h"
#include "yox/decision/KnownValues.h"
#include "yox/decision/KvpTerms.h"
#include "yox/device/DeviceInfoProvider.h"
#include "yox/tags/AppAndTagCollection.h"

using yox::decision::CompiledList;
using yox::decision::Criterion;
using yox::decision::Fetched;
using yox::decision::FilterField;
using yox::decision::kCriteria;
using yox::decision::MessageEnd;
using yox::decision::Throttling;

using yox::WString;
using yox::WStringView;
using yox::decision::AnyText;
using yox::decision::AnyVersion;
using yox::decision::FindInTags;
using yox::decision::VersionText;
using namespace yox::literals;

namespace {

constexpr const char* kOrigin = "ApplicabilityEvaluator::DoesFilterMatch";

WString Widen(std::string_view ascii) { return WString(ascii.begin(), ascii.end()); }

ApplicabilityEvaluator::Pairs StoreItems() {
  ApplicabilityEvaluator::Pairs pairs;
  for (const auto& [name, version] :
       YOX::MSStorePackageEnumerator::GetInstance()->GetAllMSStoreAppsDetails()) {
    pairs.emplace_back(name, version);
  }
  return pairs;
}

const MachineInformation& Given(const MachineInformation* machine) {
  if (machine == nullptr) throw std::invalid_argument("machineInformation");
  return *machine;
}

}  // namespace

ApplicabilityEvaluator::Decision::Decision(ApplicabilityEvaluator& evaluator,
                                           const MachineInformation* machine,
                                           const WString& client_version, AppAndTagCollection* tags,
                                           const WString* target_version, const Pairs& extra_tags)
    : evaluator_(evaluator),
      machine_(Given(machine)),
      client_version_text_(client_version),
      tags_(tags),
      target_version_text_(target_version),
      extra_tags_(extra_tags),
      os_version_(machine_.View(MachineInformation::Text::os_version)),
      client_version_(client_version),
      target_version_(target_version != nullptr ? WStringView(*target_version) : WStringView()) {}

const Criterion* ApplicabilityEvaluator::Decision::FirstFailing(
    const CompiledList& list, const CompiledList::Program& program, WString* reason) {
  for (const Step& step : list.Steps(program)) {
    const Criterion& criterion = kCriteria[step.criterion];
    if (LacksTargetVersion(step.field)) {
      LogMissingTargetVersion();
      return &criterion;
    }
    const WString& required = program.filter->View(step.field);
    const Outcome outcome = Hold(list, step, required);
    if (outcome.matched) continue;
    if (reason != nullptr) {
      evaluator_.AddToReasonString(*reason, Widen(criterion.name()), outcome.matched);
    }
    if (g_evaluator_log.Enabled(YOX::LogLevel::Debug)) {
      LogFailure(criterion, required, outcome.actual);
    }
    return &criterion;
  }
  return nullptr;
}

ApplicabilityEvaluator::Decision::Outcome ApplicabilityEvaluator::Decision::Hold(
    const CompiledList& list, const Step& step, const WString& required) {
  using Text = MachineInformation::Text;
  const auto hold_text = [&](WStringView actual) {
    return Outcome{AnyText(list.Texts(step), actual), actual};
  };
  switch (step.field) {
    case FilterField::default_:
    case FilterField::value:
      break;  // controls
    case FilterField::country:
      return hold_text(machine_.View(Text::os_region));
    case FilterField::date_range:
      return {HoldDateRange(list.Range(step))};
    case FilterField::date_function: {
      yox::decision::RolloutProgress progress;
      return {HoldRollout(list.RolloutOf(step), progress)};
    }
    case FilterField::device_subscription:
      return {HoldSubscriptions(list, step)};
    case FilterField::enclosure:
      return hold_text(machine_.View(Text::device_enclosuretype));
    case FilterField::family:
      return hold_text(machine_.View(Text::device_family));
    case FilterField::hardware_id:
      return {evaluator_.EvaluateHardwareIdFilter(required)};
    case FilterField::language:
      return hold_text(machine_.View(Text::os_language));
    case FilterField::mfr:
      return hold_text(Fetched(manufacturer_, [&] { return machine_.device_manufacturer(); }));
    case FilterField::model:
      return hold_text(machine_.View(Text::device_model));
    case FilterField::org_hash:
      return hold_text(RealmHash());
    case FilterField::os:
      return hold_text(yox::decision::kOsText);
    case FilterField::os_bitness:
      return hold_text(yox::decision::BitnessText(
          static_cast<int>(YOX::DeviceInfoProvider::GetInstance()->GetCPUArchitecture())));
    case FilterField::os_description:
      return hold_text(machine_.View(Text::os_description));
    case FilterField::os_version: {
      const bool matched = AnyVersion(list.Versions(step), os_version_);
      return {matched, os_version_.text()};
    }
    case FilterField::registry:
      return {evaluator_.EvaluateRegistryFilter(required)};
    case FilterField::sku: {
      auto* const firmware = SMBiosInformationRetriever::GetInstance();
      if (firmware == nullptr) break;  // as if it were not set
      return hold_text(Fetched(sku_, [&] { return firmware->GetSKU(); }));
    }
    case FilterField::sn_hash:
      return hold_text(Fetched(serial_hash_, [&] {
        return evaluator_.GetHashedSaltedString(machine_.View(Text::serial_number));
      }));
    case FilterField::target_version:
      return HoldCallersVersion(list, step, *target_version_text_, target_version_);
    case FilterField::version:
      return HoldCallersVersion(list, step, client_version_text_, client_version_);
    case FilterField::tag:
      return {HoldTags(list, step)};
    case FilterField::installed_items:
      return {HoldInstalledItems(list, step)};
  }
  return {};
}

ApplicabilityEvaluator::Decision::Outcome ApplicabilityEvaluator::Decision::HoldCallersVersion(
    const CompiledList& list, const Step& step, const WString& caller, VersionText& actual) {
  const bool matched = AnyVersion(list.Versions(step), actual);
  if (actual.text().size() != caller.size()) {
    yox::decision::TrimInPlace(caller);
    actual = VersionText(caller);
  }
  return {matched, caller};
}

const std::vector<YOXTag>& ApplicabilityEvaluator::Decision::StoredTags() {
  return *Fetched(stored_tags_, [&] { return AppAndTagCollection::Shared(tags_); });
}

ApplicabilityEvaluator::Decision::FindInItems ApplicabilityEvaluator::Decision::Installed() {
  const auto& installed = Fetched(installed_, [&] { return evaluator_.InstalledItems(); });
  return {*installed, Fetched(store_, StoreItems)};
}

bool ApplicabilityEvaluator::Decision::HoldTags(const CompiledList& list, const Step& step) {
  const FindInTags find{StoredTags(), extra_tags_};
  return std::ranges::all_of(
      list.Terms(step), [&](const auto& term) { return yox::decision::LoggedMatch(term, find); });
}

bool ApplicabilityEvaluator::Decision::HoldInstalledItems(const CompiledList& list,
                                                          const Step& step) {
  const FindInItems find = Installed();
  return std::ranges::any_of(
      list.Terms(step), [&](const auto& term) { return yox::decision::LoggedMatch(term, find); });
}

std::vector<WString> ApplicabilityEvaluator::Decision::Subscriptions() {
  std::vector<WString> subscriptions;
  if (const auto* const provider = YOX::EpUrlProvider::GetInstance()) {
    provider->GetDeviceSubscriptionList(subscriptions);
  }
  return subscriptions;
}

// Every entry is looked at, also behind the first that holds.
bool ApplicabilityEvaluator::Decision::HoldSubscriptions(const CompiledList& list,
                                                         const Step& step) {
  bool any = false;
  for (const WString& subscription : Subscriptions()) {
    any |= AnyText(list.Texts(step), subscription);
  }
  return any;
}

const WString& ApplicabilityEvaluator::Decision::Realm() {
  return Fetched(realm_, [] {
    WString realm;
    if (const auto* const provider = YOX::EpUrlProvider::GetInstance()) provider->GetRealm(realm);
    return realm;
  });
}

const WString& ApplicabilityEvaluator::Decision::RealmHash() {
  return Fetched(realm_hash_, [&] { return evaluator_.GetHashedSaltedString(Realm()); });
}

void ApplicabilityEvaluator::Decision::LogFailure(const Criterion& criterion,
                                                  const WString& required,
                                                  WStringView actual) const {
  if (criterion.throttling == Throttling::kNone) {
    g_evaluator_log.d("%s Hardware ID filter is false. Required hardware ID: %s", kOrigin,
                      required);
    return;
  }
  WString message = Widen(criterion.label) + " filter is false. Required: "_w + required;
  if (criterion.end == MessageEnd::kActual) message.append(", Actual: "_wv).append(actual);
  if (criterion.end == MessageEnd::kNotFound) message += " not found"_wv;

  LogThrottler& throttler = evaluator_.logThrottler;
  const WString key = Widen(criterion.throttle_key);
  const auto dynamic = [&](const WString& word) {
    return throttler.ShouldLogDynamic(key, required, word, message);
  };
  const bool write =
      criterion.throttling == Throttling::kStatic    ? throttler.ShouldLogStatic(key, message)
      : criterion.throttling == Throttling::kDynamic ? dynamic(WString(actual))
                                                     : dynamic(Widen(criterion.actual_word));
  if (write) g_evaluator_log.d("%s %s", kOrigin, message);
}

void ApplicabilityEvaluator::Decision::LogMissingTargetVersion() const {
  constexpr const char* kMessage = "Target version filter is false. Target version pointer is null";
  if (g_evaluator_log.Enabled(YOX::LogLevel::Debug) &&
      evaluator_.logThrottler.ShouldLogStatic("TargetVersionNull"_w, Widen(kMessage))) {
    g_evaluator_log.d("%s %s", kOrigin, kMessage);
  }
}
