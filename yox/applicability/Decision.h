#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/MatchOperators.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/YOXTag.h"

// One decision: what its filters are held against, each thing fetched when the first criterion asks
// for it and at most once, the clock included. Lives on one thread's stack.
class ApplicabilityEvaluator::Decision {
 public:
  // Throws std::invalid_argument("machineInformation") when `machine` is null.
  Decision(ApplicabilityEvaluator& evaluator, const MachineInformation* machine,
           const yox::WString& client_version, AppAndTagCollection* tags,
           const yox::WString* target_version, const Pairs& extra_tags);

  // Walks the list up to the filter that decides; appends to `reason` what was passed, and notes in
  // `trace` which criteria failed and which filter decided, unless they are null.
  bool Decide(const yox::decision::CompiledList& list, yox::WString* reason,
              yox::decision::DecisionTrace* trace);

  // Walks the criteria that are set, up to the first that fails; appends that one's word to
  // `reason` unless it is null, and logs it. Null when the filter matches.
  const yox::decision::Criterion* FirstFailing(const yox::decision::CompiledList& list,
                                               const yox::decision::CompiledList::Program& program,
                                               yox::WString* reason);

  // Decide without a line in the log.
  yox::decision::DecisionTrace Trace(const yox::decision::CompiledList& list);
  // The same, and each criterion by itself.
  yox::decision::Explanation Explain(const yox::decision::CompiledList& list);

 private:
  using Step = yox::decision::CompiledList::Step;

  // Store applications stand behind the installed ones.
  struct FindInItems {
    const Pairs& installed;
    const Pairs& store;

    std::optional<yox::decision::PairView> operator()(const yox::decision::TextPattern& key) const {
      const auto found = yox::decision::FindInPairs{installed}(key);
      return found ? found : yox::decision::FindInPairs{store}(key);
    }
  };

  // The result of one criterion, and the device's value for the message and the throttle.
  struct Outcome {
    bool matched = true;
    yox::WStringView actual = {};
  };

  Outcome Hold(const yox::decision::CompiledList& list, const Step& step,
               const yox::WString& required);
  Outcome HoldCallersVersion(const yox::decision::CompiledList& list, const Step& step,
                             const yox::WString& caller, yox::decision::VersionText& actual);
  bool HoldDateRange(const yox::decision::DateRange& range);
  bool HoldRollout(const yox::decision::Rollout& rollout, yox::decision::RolloutProgress& progress);
  bool HoldSubscriptions(const yox::decision::CompiledList& list, const Step& step);
  bool HoldTags(const yox::decision::CompiledList& list, const Step& step);
  bool HoldInstalledItems(const yox::decision::CompiledList& list, const Step& step);

  // Fetches what stays, or is logged, when it is fetched for the first time.
  void FetchLasting(const yox::decision::CompiledList& list);
  yox::decision::ExplainedCriterion Describe(const yox::decision::CompiledList& list,
                                             const Step& step, const yox::WString& required);
  yox::decision::ExplainedFact DescribeRollout(const yox::decision::Rollout& rollout,
                                               const yox::WString& required);
  std::vector<yox::decision::ExplainedFact> DescribeRegistry(const yox::WString& required);
  yox::decision::ExplainedFact DescribeHardwareId(const yox::WString& required);
  std::vector<yox::decision::ExplainedFact> DescribeSubscriptions(
      const yox::decision::CompiledList& list, const Step& step, const yox::WString& required);
  // Why a text of this criterion is empty.
  static std::string NoteOnEmpty(yox::decision::FilterField field);

  bool LacksTargetVersion(yox::decision::FilterField field) const {
    return field == yox::decision::FilterField::target_version && target_version_text_ == nullptr;
  }
  FindInItems Installed();
  static std::vector<yox::WString> Subscriptions();
  const std::vector<YOXTag>& StoredTags();
  void LogFailure(const yox::decision::Criterion& criterion, const yox::WString& required,
                  yox::WStringView actual) const;
  void LogMissingTargetVersion() const;

  std::int64_t Now();
  const yox::LocalDate& Today();
  const yox::WString& Realm();
  const yox::WString& RealmHash();

  ApplicabilityEvaluator& evaluator_;
  const MachineInformation& machine_;
  const yox::WString& client_version_text_;
  AppAndTagCollection* const tags_;
  const yox::WString* const target_version_text_;
  const Pairs& extra_tags_;

  yox::decision::VersionText os_version_;
  yox::decision::VersionText client_version_;
  yox::decision::VersionText target_version_;
  std::optional<std::int64_t> now_;
  std::optional<yox::LocalDate> today_;
  std::optional<yox::WString> manufacturer_;
  std::optional<yox::WString> sku_;
  std::optional<yox::WString> realm_;
  std::optional<yox::WString> realm_hash_;
  std::optional<yox::WString> serial_hash_;
  std::optional<std::shared_ptr<const std::vector<YOXTag>>> stored_tags_;
  std::optional<std::shared_ptr<const Pairs>> installed_;
  std::optional<Pairs> store_;
};
