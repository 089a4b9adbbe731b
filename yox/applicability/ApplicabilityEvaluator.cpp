#include "yox/applicability/ApplicabilityEvaluator.h"

#include <exception>
#include <string>
#include <utility>

#include "yox/applicability/Decision.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/LoggedMatch.h"
#include "yox/applicability/TrimInPlace.h"
#include "yox/base/String.h"
#include "yox/decision/KvpTerms.h"
#include "yox/device/YoxInfo.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/tags/AppAndTagCollection.h"

using yox::decision::CompiledList;
using yox::decision::Criterion;
using yox::decision::DecisionTrace;
using yox::decision::Explanation;

using YOX::String;
using yox::WString;
using yox::WStringView;
using namespace yox::literals;

constinit YOX::Log g_evaluator_log{"ApplicabilityEvaluator"};

constinit std::atomic<ApplicabilityEvaluator*> ApplicabilityEvaluator::applicability_evaluator_{
    nullptr};
std::mutex ApplicabilityEvaluator::instance_mutex_;
WString ApplicabilityEvaluator::discard_reason_ = "discard_reason"_w;

namespace {

// What decisions over this device are made of, fetched in this order.
struct ThisDevice {
  AppAndTagCollection* const tags = AppAndTagCollection::GetInstance();
  const WString client_version = YoxInfo::GetInstance()->GetYoxServiceVersion();
  const std::shared_ptr<MachineInformation> record =
      yox::YOXHelperFactory::GetInstance()->GetMachineInformationAgent();
};

}  // namespace

bool ApplicabilityEvaluator::IsApplicable(const ApplicabilityFilter& filter, WString* targetVersion,
                                          const Pairs& extraTags, WString& reason) {
  try {
    const ThisDevice device;
    return EvaluateApplicability(device.record, device.client_version, filter, device.tags,
                                 targetVersion, extraTags, reason);
  } catch (const std::exception& error) {
    g_evaluator_log.e("%s : Exception - %s", "ApplicabilityEvaluator::IsApplicable",
                      String::UTF8ToUTF16(error.what()));
    return true;
  }
}

bool ApplicabilityEvaluator::EvaluateApplicability(
    std::shared_ptr<MachineInformation> machineInformation,  // NOLINT: kept alive for the call
    const WString& clientVersion, const ApplicabilityFilter& filter,
    AppAndTagCollection* tagCollection, WString* targetVersion, const Pairs& extraTags,
    WString& reason) {
  Decision decision(*this, machineInformation.get(), clientVersion, tagCollection, targetVersion,
                    extraTags);
  const bool collect = reason != discard_reason_;
  if (collect) reason.clear();
  return decision.Decide(*filter.snapshot(), collect ? &reason : nullptr, nullptr);
}

bool ApplicabilityEvaluator::Decision::Decide(const CompiledList& list, WString* reason,
                                              DecisionTrace* trace) {
  WString prefix;
  std::size_t index = 0;
  for (const CompiledList::Program& program : list.programs()) {
    if (reason != nullptr) {
      const std::string number = std::to_string(index);
      prefix = "Filter ["_w;
      prefix.append(number.begin(), number.end()).append("]: "_wv);
    }
    const auto decide = [&](bool applies, WStringView words) {
      if (reason != nullptr) reason->append(prefix).append(words);
      if (trace != nullptr) trace->decided_by = index;
      return applies;
    };
    if (program.decides == CompiledList::Control::kTrue) {
      prefix.clear();
      return decide(true, {});
    }
    if (program.decides == CompiledList::Control::kFalse) {
      return decide(false, "default = false; "_wv);
    }
    const Criterion* const failing =
        FirstFailing(list, program, reason != nullptr ? &prefix : nullptr);
    if (failing == nullptr) {
      return program.value ? decide(true, "true; "_wv) : decide(false, "value = false; "_wv);
    }
    if (reason != nullptr) *reason += prefix;
    if (trace != nullptr) trace->failed.push_back(failing->field);
    ++index;
  }
  return list.programs().empty();
}

Explanation ApplicabilityEvaluator::Explain(const ApplicabilityFilter& filter,
                                            const WString* targetVersion, const Pairs& extraTags) {
  const ThisDevice device;
  return Explain(device.record, device.client_version, filter, device.tags, targetVersion,
                 extraTags);
}

DecisionTrace ApplicabilityEvaluator::Trace(const ApplicabilityFilter& filter,
                                            const WString* targetVersion, const Pairs& extraTags) {
  const ThisDevice device;
  return Trace(device.record, device.client_version, filter, device.tags, targetVersion, extraTags);
}

bool ApplicabilityEvaluator::DoesFilterMatch(
    Filter* filter,
    std::shared_ptr<MachineInformation> machineInformation,  // NOLINT: kept alive for the call
    const WString& clientVersion, AppAndTagCollection* tagCollection, WString* targetVersion,
    const Pairs& extraTags, WString& reason) {
  const CompiledList list({*filter});
  return Decision(*this, machineInformation.get(), clientVersion, tagCollection, targetVersion,
                  extraTags)
             .FirstFailing(list, list.programs().front(), &reason) == nullptr;
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
    const auto term = yox::decision::KeyValueTerm::Parse(yox::decision::NextPiece(rest, ','));
    if (yox::decision::LoggedMatch(term, yox::decision::FindInPairs{pairs}) != all) return !all;
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
  return yox::decision::LoggedMatch(yox::decision::KeyValueTerm::Parse(term),
                                    yox::decision::FindInPairs{pairs});
}
