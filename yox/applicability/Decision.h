#pragma once

#include <optional>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/Criteria.h"
#include "yox/applicability/MatchOperators.h"
#include "yox/device/MachineInformation.h"

// One decision: what its filters are held against, each thing fetched when the first criterion asks
// for it and at most once. Lives on one thread's stack.
class ApplicabilityEvaluator::Decision {
 public:
  Decision(ApplicabilityEvaluator& evaluator, const MachineInformation& machine,
           const YOX::WString& client_version, AppAndTagCollection* tags,
           const YOX::WString* target_version, const Pairs& extra_tags)
      : evaluator_(evaluator),
        machine_(machine),
        client_version_(client_version),
        tags_(tags),
        target_version_(target_version),
        extra_tags_(extra_tags),
        os_version_(machine.View(MachineInformation::Text::os_version)) {}

  // Walks the criteria that are set, up to the first that fails; appends that one's word to
  // `reason` unless it is null, and logs it.
  bool Matches(const Filter& filter, YOX::WString* reason);

 private:
  // The result of one criterion, and the device's value for the message and the throttle.
  struct Outcome {
    bool matched = true;
    YOX::WStringView actual = {};
  };

  Outcome Hold(FilterField criterion, const YOX::WString& required);
  Outcome HoldRecord(const YOX::WString& required, MachineInformation::Text text) const;
  Outcome HoldSubscriptions(const YOX::WString& required);
  Outcome HoldSku(const YOX::WString& required);
  Outcome HoldTags(const YOX::WString& required) const;

  void LogFailure(const Criterion& criterion, const YOX::WString& required,
                  YOX::WStringView actual) const;

  const YOX::WString& Realm();

  ApplicabilityEvaluator& evaluator_;
  const MachineInformation& machine_;
  const YOX::WString& client_version_;
  AppAndTagCollection* const tags_;
  const YOX::WString* const target_version_;
  const Pairs& extra_tags_;

  YOX::match::VersionText os_version_;
  std::optional<YOX::WString> manufacturer_;
  std::optional<YOX::WString> sku_;
  std::optional<YOX::WString> realm_;
  std::optional<YOX::WString> realm_hash_;
  std::optional<YOX::WString> serial_hash_;
  std::optional<Pairs> installed_;
};
