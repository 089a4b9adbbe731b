#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/CompiledList.h"
#include "yox/applicability/Criteria.h"
#include "yox/applicability/MatchOperators.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/YOXTag.h"

// One decision: what its filters are held against, each thing fetched when the first criterion asks
// for it and at most once, the clock included. Lives on one thread's stack.
class ApplicabilityEvaluator::Decision {
 public:
  Decision(ApplicabilityEvaluator& evaluator, const MachineInformation& machine,
           const YOX::WString& client_version, AppAndTagCollection* tags,
           const YOX::WString* target_version, const Pairs& extra_tags);

  // Walks the criteria that are set, up to the first that fails; appends that one's word to
  // `reason` unless it is null, and logs it.
  bool Matches(const CompiledList& list, const CompiledList::Program& program,
               YOX::WString* reason);

 private:
  using Step = CompiledList::Step;

  // The result of one criterion, and the device's value for the message and the throttle.
  struct Outcome {
    bool matched = true;
    YOX::WStringView actual = {};
  };

  Outcome Hold(const CompiledList& list, const Step& step, const YOX::WString& required);
  Outcome HoldCallersVersion(const CompiledList& list, const Step& step, const YOX::WString& caller,
                             YOX::match::VersionText& actual);
  bool HoldDateRange(const YOX::match::DateRange& range);
  bool HoldRollout(const YOX::match::Rollout& rollout);
  bool HoldSubscriptions(const CompiledList& list, const Step& step);
  bool HoldTags(const CompiledList& list, const Step& step);
  bool HoldInstalledItems(const CompiledList& list, const Step& step);

  void LogFailure(const Criterion& criterion, const YOX::WString& required,
                  YOX::WStringView actual) const;
  void LogMissingTargetVersion() const;

  std::int64_t Now();
  const YOX::WString& Realm();
  const YOX::WString& RealmHash();

  ApplicabilityEvaluator& evaluator_;
  const MachineInformation& machine_;
  const YOX::WString& client_version_text_;
  AppAndTagCollection* const tags_;
  const YOX::WString* const target_version_text_;
  const Pairs& extra_tags_;

  YOX::match::VersionText os_version_;
  YOX::match::VersionText client_version_;
  YOX::match::VersionText target_version_;
  std::optional<std::int64_t> now_;
  std::optional<YOX::platform::LocalDate> today_;
  std::optional<YOX::WString> manufacturer_;
  std::optional<YOX::WString> sku_;
  std::optional<YOX::WString> realm_;
  std::optional<YOX::WString> realm_hash_;
  std::optional<YOX::WString> serial_hash_;
  std::optional<std::shared_ptr<const std::vector<YOXTag>>> stored_tags_;
  std::optional<Pairs> installed_;
};
