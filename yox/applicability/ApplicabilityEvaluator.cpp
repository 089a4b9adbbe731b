#include "yox/applicability/ApplicabilityEvaluator.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "yox/applicability/ClientVersion.h"
#include "yox/applicability/DecisionLog.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/RunningDevice.h"
#include "yox/applicability/TrimInPlace.h"
#include "yox/base/String.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/Decide.h"
#include "yox/decision/Explanation.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/tags/AppAndTagCollection.h"

using YOX::String;
using yox::WString;
using yox::applicability::ClientVersion;
using yox::applicability::DecisionLog;
using yox::applicability::LogFailedTerm;
using yox::applicability::LogFailure;
using yox::decision::CompiledList;
using yox::decision::DecisionTrace;
using yox::decision::Explanation;
using yox::decision::FilterField;
using yox::decision::KeyValueTerm;
using yox::decision::Truth;
using namespace yox::literals;

constinit YOX::Log g_evaluator_log{"ApplicabilityEvaluator"};

constinit std::atomic<ApplicabilityEvaluator*> ApplicabilityEvaluator::applicability_evaluator_{
    nullptr};
yox::Mutex ApplicabilityEvaluator::instance_mutex_;
WString ApplicabilityEvaluator::discard_reason_ = "discard_reason"_w;

namespace {

// What decisions over this device start from, fetched in this order.
struct ThisDevice {
  explicit ThisDevice(ClientVersion& version) : client_version(version.Get(own)) {}

  WString own;
  AppAndTagCollection* const tags = AppAndTagCollection::GetInstance();
  const WString& client_version;
  std::shared_ptr<MachineInformation> record =
      yox::YOXHelperFactory::GetInstance()->GetMachineInformationAgent();
};

// Fetches the facts that are kept after the first fetch and then logged.
void FetchLasting(const CompiledList& list, yox::decision::DeviceFacts& facts) {
  const auto any = [&](FilterField field) {
    return std::ranges::any_of(list.filters(),
                               [&](const Filter& filter) { return filter.IsSet(field); });
  };
  if (any(FilterField::hardware_id)) facts.PresentHardwareIds();
  if (any(FilterField::installed_items)) facts.InstalledItems();
}

// Calls Explain or Trace of the decision; its criteria write no log lines.
template <class Result>
Result Quietly(Result (*decide)(const CompiledList&, yox::decision::DeviceFacts&),
               const CompiledList& list, yox::decision::DeviceFacts& facts) {
  FetchLasting(list, facts);
  const YOX::Log::Silence silence(g_evaluator_log);
  return decide(list, facts);
}

bool HoldsLogged(const KeyValueTerm& term, const ApplicabilityEvaluator::Pairs& pairs) {
  bool holds = false;
  const String::IntegerStatus status = term.TryMatch(yox::decision::FindInPairs{pairs}, holds);
  if (status == String::IntegerStatus::kOk) return holds;
  LogFailedTerm(status);
  return false;
}

}  // namespace

[[gnu::always_inline]] inline bool ApplicabilityEvaluator::Decide(
    const MachineInformation* machine, const WString& client_version,
    const ApplicabilityFilter& filter, AppAndTagCollection* tags, bool keeps_tags,
    WString* target_version, const Pairs& extra_tags, WString& reason) {
  const yox::Published<CompiledList>::Lease list(filter.list_);
  RunningDevice device(*this, machine, client_version, tags, target_version, extra_tags);
  if (keeps_tags) device.UseKeptTags();
  const bool is_discarded = &reason == &discard_reason_ || reason == discard_reason_;
  if (is_discarded && !DecisionLog::IsRead()) return Applies(*list, device) == Truth::kTrue;
  DecisionLog log(*list, logThrottler, is_discarded ? nullptr : &reason);
  return Applies(*list, device, &log) == Truth::kTrue;
}

bool ApplicabilityEvaluator::IsApplicable(const ApplicabilityFilter& filter, WString* targetVersion,
                                          const Pairs& extraTags, WString& reason) {
  constexpr const char* kOrigin = "ApplicabilityEvaluator::IsApplicable";
  try {
    ThisDevice device(*client_version_);
    if (device.record == nullptr && !warned_.exchange(true)) {
      g_evaluator_log.w(
          "%s No machine record: until the host sets one with SetMachineInformationAgent, every "
          "list applies",
          kOrigin);
    }
    return Decide(device.record.get(), device.client_version, filter, device.tags, true,
                  targetVersion, extraTags, reason);
  } catch (const std::exception& error) {
    g_evaluator_log.e("%s : Exception - %s", kOrigin, String::UTF8ToUTF16(error.what()));
    return true;
  }
}

bool ApplicabilityEvaluator::EvaluateApplicability(
    std::shared_ptr<MachineInformation> machineInformation,  // NOLINT: kept alive for the call
    const WString& clientVersion, const ApplicabilityFilter& filter,
    AppAndTagCollection* tagCollection, WString* targetVersion, const Pairs& extraTags,
    WString& reason) {
  return Decide(machineInformation.get(), clientVersion, filter, tagCollection, false,
                targetVersion, extraTags, reason);
}

Explanation ApplicabilityEvaluator::Explain(const ApplicabilityFilter& filter,
                                            const WString* targetVersion, const Pairs& extraTags) {
  const ThisDevice device(*client_version_);
  return Explain(device.record, device.client_version, filter, device.tags, targetVersion,
                 extraTags);
}

Explanation ApplicabilityEvaluator::Explain(
    const std::shared_ptr<MachineInformation>& machineInformation, const WString& clientVersion,
    const ApplicabilityFilter& filter, AppAndTagCollection* tagCollection,
    const WString* targetVersion, const Pairs& extraTags) {
  const ApplicabilityFilter::Lease list(filter);
  RunningDevice device(*this, machineInformation.get(), clientVersion, tagCollection, targetVersion,
                       extraTags, RunningDevice::Purpose::kExplain);
  return Quietly(yox::decision::Explain, *list, device);
}

DecisionTrace ApplicabilityEvaluator::Trace(const ApplicabilityFilter& filter,
                                            const WString* targetVersion, const Pairs& extraTags) {
  const ThisDevice device(*client_version_);
  return Trace(device.record, device.client_version, filter, device.tags, targetVersion, extraTags);
}

DecisionTrace ApplicabilityEvaluator::Trace(
    const std::shared_ptr<MachineInformation>& machineInformation, const WString& clientVersion,
    const ApplicabilityFilter& filter, AppAndTagCollection* tagCollection,
    const WString* targetVersion, const Pairs& extraTags) {
  const ApplicabilityFilter::Lease list(filter);
  RunningDevice device(*this, machineInformation.get(), clientVersion, tagCollection, targetVersion,
                       extraTags, RunningDevice::Purpose::kExplain);
  return Quietly(yox::decision::Trace, *list, device);
}

bool ApplicabilityEvaluator::DoesFilterMatch(
    Filter* filter,
    std::shared_ptr<MachineInformation> machineInformation,  // NOLINT: kept alive for the call
    const WString& clientVersion, AppAndTagCollection* tagCollection, WString* targetVersion,
    const Pairs& extraTags, WString& reason) {
  const CompiledList list({*filter});
  const CompiledList::Program& program = list.programs().front();
  RunningDevice device(*this, machineInformation.get(), clientVersion, tagCollection, targetVersion,
                       extraTags);
  DecisionLog log(list, logThrottler, nullptr);
  const auto match = MatchFilter(list, program, device, &log);
  if (match.failed == nullptr) return true;
  if (!match.is_unnamed) {
    const auto name = CriterionOf(*match.failed).name();
    AddToReasonString(reason, WString(name.begin(), name.end()), false);
  }
  LogFailure({program, *match.failed, device, match.is_unnamed}, logThrottler);
  return false;
}

void ApplicabilityEvaluator::AddToReasonString(WString& reason, WString name, bool matched) {
  if (!matched) reason.append(name).append(" = false; "_wv);
}

WString& ApplicabilityEvaluator::SetDiscardedReason() { return discard_reason_; }

bool ApplicabilityEvaluator::EvaluateStringFilter(const WString& required, const WString& actual) {
  return yox::decision::AnyText(required, actual);
}

bool ApplicabilityEvaluator::EvaluateVersionFilter(const WString& required, const WString& actual) {
  yox::decision::VersionText text(actual);
  const bool matched = yox::decision::AnyVersion(required, text);
  if (text.text().size() != actual.size()) yox::decision::TrimInPlace(actual);
  return matched;
}

bool ApplicabilityEvaluator::EvaluateKvpFilter(const WString& required, const Pairs& pairs,
                                               EvaluationModeForKVP mode) {
  const bool all = mode == EvaluationModeForKVP::AllTerms;
  if (!all && mode != EvaluationModeForKVP::AnyTerm) return false;
  for (auto rest = yox::decision::Pieces(required); rest;) {
    const auto term = KeyValueTerm::Parse(yox::decision::NextPiece(rest, ','));
    if (HoldsLogged(term, pairs) != all) return !all;
  }
  return all;
}

bool ApplicabilityEvaluator::DoesStringMatch(const WString& pattern, const WString& actual) {
  return yox::decision::TextPattern::Parse(pattern).Matches(String::Trimmed(actual));
}

bool ApplicabilityEvaluator::DoesVersionMatch(const WString& pattern, const WString& actual) {
  if (String::IsEmptyOrWhiteSpace(pattern) || String::IsEmptyOrWhiteSpace(actual)) return false;
  yox::decision::TrimInPlace(pattern);
  yox::decision::TrimInPlace(actual);
  yox::decision::VersionText text(actual);
  return yox::decision::VersionRequirement::Parse(pattern).Matches(text);
}

bool ApplicabilityEvaluator::DoesIntMatch(const WString& pattern, const WString& actual) {
  yox::decision::TrimInPlace(pattern);
  yox::decision::TrimInPlace(actual);
  return yox::decision::IntegerRequirement::Parse(pattern).Matches(actual);
}

bool ApplicabilityEvaluator::DoesKvpMatch(const WString& term, const Pairs& pairs) {
  return HoldsLogged(KeyValueTerm::Parse(term), pairs);
}
