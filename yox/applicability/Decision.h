#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/CompiledList.h"
#include "yox/applicability/Criteria.h"
#include "yox/applicability/Explanation.h"
#include "yox/applicability/MatchOperators.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/YOXTag.h"

// One decision: what its filters are held against, each thing fetched when the first criterion asks
// for it and at most once, the clock included. Lives on one thread's stack.
class ApplicabilityEvaluator::Decision {
 public:
  // Throws std::invalid_argument("machineInformation") when `machine` is null.
  Decision(ApplicabilityEvaluator& evaluator, const MachineInformation* machine,
           const YOX::WString& client_version, AppAndTagCollection* tags,
           const YOX::WString* target_version, const Pairs& extra_tags);

  // Walks the list up to the filter that decides; appends to `reason` what was passed, and notes in
  // `trace` which criteria failed and which filter decided, unless they are null.
  bool Decide(const CompiledList& list, YOX::WString* reason, DecisionTrace* trace);

  // Walks the criteria that are set, up to the first that fails; appends that one's word to
  // `reason` unless it is null, and logs it. Null when the filter matches.
  const Criterion* FirstFailing(const CompiledList& list, const CompiledList::Program& program,
                                YOX::WString* reason);

  // Decide without a line in the log.
  DecisionTrace Trace(const CompiledList& list);
  // The same, and each criterion by itself.
  Explanation Explain(const CompiledList& list);

 private:
  using Step = CompiledList::Step;

  // Store applications stand behind the installed ones.
  struct FindInItems {
    const Pairs& installed;
    const Pairs& store;

    std::optional<YOX::match::PairView> operator()(const YOX::match::TextPattern& key) const {
      const auto found = YOX::match::FindInPairs{installed}(key);
      return found ? found : YOX::match::FindInPairs{store}(key);
    }
  };

  // The result of one criterion, and the device's value for the message and the throttle.
  struct Outcome {
    bool matched = true;
    YOX::WStringView actual = {};
  };

  Outcome Hold(const CompiledList& list, const Step& step, const YOX::WString& required);
  Outcome HoldCallersVersion(const CompiledList& list, const Step& step, const YOX::WString& caller,
                             YOX::match::VersionText& actual);
  bool HoldDateRange(const YOX::match::DateRange& range);
  bool HoldRollout(const YOX::match::Rollout& rollout, YOX::match::RolloutProgress& progress);
  bool HoldSubscriptions(const CompiledList& list, const Step& step);
  bool HoldTags(const CompiledList& list, const Step& step);
  bool HoldInstalledItems(const CompiledList& list, const Step& step);

  // Fetches what stays, or is logged, when it is fetched for the first time.
  void FetchLasting(const CompiledList& list);
  ExplainedCriterion Describe(const CompiledList& list, const Step& step,
                              const YOX::WString& required);
  ExplainedFact DescribeRollout(const YOX::match::Rollout& rollout, const YOX::WString& required);
  std::vector<ExplainedFact> DescribeRegistry(const YOX::WString& required);
  ExplainedFact DescribeHardwareId(const YOX::WString& required);
  std::vector<ExplainedFact> DescribeSubscriptions(const CompiledList& list, const Step& step,
                                                   const YOX::WString& required);
  // Why a text of this criterion is empty.
  static std::string NoteOnEmpty(FilterField field);

  bool LacksTargetVersion(FilterField field) const {
    return field == FilterField::target_version && target_version_text_ == nullptr;
  }
  FindInItems Installed();
  static std::vector<YOX::WString> Subscriptions();
  const std::vector<YOXTag>& StoredTags();
  void LogFailure(const Criterion& criterion, const YOX::WString& required,
                  YOX::WStringView actual) const;
  void LogMissingTargetVersion() const;

  std::int64_t Now();
  const YOX::platform::LocalDate& Today();
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
  std::optional<std::shared_ptr<const Pairs>> installed_;
  std::optional<Pairs> store_;
};
