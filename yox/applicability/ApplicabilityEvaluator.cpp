#include "yox/applicability/ApplicabilityEvaluator.h"

#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "yox/applicability/Decision.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/KvpTerms.h"
#include "yox/clientbase/String.h"

using YOX::String;
using YOX::WString;
using YOX::WStringView;
using namespace YOX::literals;

constinit YOX::Log g_evaluator_log{"ApplicabilityEvaluator"};

constinit std::atomic<ApplicabilityEvaluator*> ApplicabilityEvaluator::applicability_evaluator_{
    nullptr};
std::mutex ApplicabilityEvaluator::instance_mutex_;
WString ApplicabilityEvaluator::discard_reason_ = "discard_reason"_w;

namespace {

// Through the constant reference, on purpose. Writes only where there is something to trim, so that
// threads can share a text that is trimmed already.
void TrimInPlace(const WString& text) {
  const WStringView trimmed = String::Trimmed(text);
  if (trimmed.size() != text.size()) const_cast<WString&>(text) = WString(trimmed);
}

}  // namespace

ApplicabilityEvaluator* ApplicabilityEvaluator::GetInstance() {
  if (auto* const instance = applicability_evaluator_.load(std::memory_order_acquire)) {
    return instance;
  }
  const std::lock_guard lock(instance_mutex_);
  if (applicability_evaluator_.load(std::memory_order_relaxed) == nullptr) {
    applicability_evaluator_.store(new ApplicabilityEvaluator, std::memory_order_release);
  }
  return applicability_evaluator_.load(std::memory_order_relaxed);
}

ApplicabilityEvaluator::ApplicabilityEvaluator() = default;
ApplicabilityEvaluator::~ApplicabilityEvaluator() = default;

bool ApplicabilityEvaluator::EvaluateApplicability(
    std::shared_ptr<MachineInformation> machineInformation,  // NOLINT: kept alive for the call
    const WString& clientVersion, const ApplicabilityFilter& filter,
    AppAndTagCollection* tagCollection, WString* targetVersion, const Pairs& extraTags,
    WString& reason) {
  const std::shared_ptr<const ApplicabilityFilter::List> filters = filter.snapshot();
  if (machineInformation == nullptr) throw std::invalid_argument("machineInformation");

  const bool collect = reason != discard_reason_;
  if (collect) reason.clear();

  Decision decision(*this, *machineInformation, clientVersion, tagCollection, targetVersion,
                    extraTags);
  WString prefix;
  for (std::size_t index = 0; index < filters->size(); ++index) {
    const Filter& candidate = (*filters)[index];
    if (collect) {
      const std::string number = std::to_string(index);
      prefix = "Filter ["_w;
      prefix.append(number.begin(), number.end()).append("]: "_wv);
    }
    const auto decide = [&](bool applies, WStringView words) {
      if (collect) reason.append(prefix).append(words);
      return applies;
    };
    if (candidate.IsSet(FilterField::default_)) {
      if (String::CaseInsesitiveEqual(candidate.View(FilterField::default_), "true"_wv)) {
        return true;
      }
      return decide(false, "default = false; "_wv);
    }
    if (decision.Matches(candidate, collect ? &prefix : nullptr)) {
      if (String::CaseInsesitiveEqual(candidate.View(FilterField::value), "false"_wv)) {
        return decide(false, "value = false; "_wv);
      }
      return decide(true, "true; "_wv);
    }
    if (collect) reason += prefix;
  }
  return filters->empty();
}

bool ApplicabilityEvaluator::DoesFilterMatch(
    Filter* filter,
    std::shared_ptr<MachineInformation> machineInformation,  // NOLINT: kept alive for the call
    const WString& clientVersion, AppAndTagCollection* tagCollection, WString* targetVersion,
    const Pairs& extraTags, WString& reason) {
  return Decision(*this, *machineInformation, clientVersion, tagCollection, targetVersion,
                  extraTags)
      .Matches(*filter, &reason);
}

void ApplicabilityEvaluator::AddToReasonString(WString& reason, WString name, bool matched) {
  if (!matched) reason.append(name).append(" = false; "_wv);
}

WString& ApplicabilityEvaluator::SetDiscardedReason() { return discard_reason_; }

bool ApplicabilityEvaluator::EvaluateStringFilter(const WString& required, const WString& actual) {
  return YOX::match::AnyText(required, actual);
}

bool ApplicabilityEvaluator::EvaluateVersionFilter(const WString& required, const WString& actual) {
  YOX::match::VersionText text(actual);
  const bool matched = YOX::match::AnyVersion(required, text);
  if (text.text().size() != actual.size()) TrimInPlace(actual);
  return matched;
}

bool ApplicabilityEvaluator::EvaluateKvpFilter(const WString& required, const Pairs& pairs,
                                               EvaluationModeForKVP mode) {
  return YOX::match::Terms(required, YOX::match::FindInPairs{pairs}, mode);
}

bool ApplicabilityEvaluator::DoesStringMatch(const WString& pattern, const WString& actual) {
  return YOX::match::Text(pattern, actual);
}

bool ApplicabilityEvaluator::DoesVersionMatch(const WString& pattern, const WString& actual) {
  if (String::IsEmptyOrWhiteSpace(pattern) || String::IsEmptyOrWhiteSpace(actual)) return false;
  TrimInPlace(pattern);
  TrimInPlace(actual);
  YOX::match::VersionText text(actual);
  return YOX::match::MatchesVersion(pattern, text);
}

bool ApplicabilityEvaluator::DoesIntMatch(const WString& pattern, const WString& actual) {
  TrimInPlace(pattern);
  TrimInPlace(actual);
  return YOX::match::Integer(pattern, actual);
}

bool ApplicabilityEvaluator::DoesKvpMatch(const WString& term, const Pairs& pairs) {
  return YOX::match::LoggedTerm(term, YOX::match::FindInPairs{pairs});
}

// Nothing is known of the registry and of present devices yet: what requires them fails.
bool ApplicabilityEvaluator::EvaluateRegistryFilter(const WString& /*requirements*/) {
  return false;
}

bool ApplicabilityEvaluator::EvaluateHardwareIdFilter(const WString& /*required*/) { return false; }
