#include "yox/decision/Explanation.h"

#include <algorithm>
#include <utility>

#include "yox/applicability/Decision.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/LoggedMatch.h"
#include "yox/applicability/RegistryReading.h"
#include "yox/base/String.h"
#include "yox/clientbase/EpUrlProvider.h"
#include "yox/clientbase/SMBiosInformationRetriever.h"
#include "yox/decision/KvpTerms.h"
#include "yox/decision/RegistryRequirement.h"
#include "yox/platform/Platform.h"

using yox::decision::CompiledList;
using yox::decision::Criterion;
using yox::decision::CriterionResult;
using yox::decision::DecisionFlip;
using yox::decision::DecisionTrace;
using yox::decision::ExplainedCriterion;
using yox::decision::ExplainedFact;
using yox::decision::ExplainedFilter;
using yox::decision::Explanation;
using yox::decision::FilterField;
using yox::decision::FlippedBy;
using yox::decision::kCriteria;

using yox::LocalDate;
using YOX::String;
using yox::WString;
using yox::WStringView;
using yox::decision::FindInTags;
using yox::decision::KeyValueTerm;
using yox::decision::PairView;
using yox::decision::RegistryRequirement;
using Facts = std::vector<ExplainedFact>;
using FilterOutcome = ExplainedFilter::Outcome;
using Result = CriterionResult;

namespace {

Result ResultOf(bool held, bool missing) {
  if (held) return Result::kHeld;
  return missing ? Result::kMissing : Result::kDiffers;
}

// What fails is missing when nothing of it differs.
Result ResultOf(bool held, const Facts& facts) {
  const auto any = [&](Result result) {
    return std::ranges::find(facts, result, &ExplainedFact::result) != facts.end();
  };
  return ResultOf(held, any(Result::kMissing) && !any(Result::kDiffers));
}

std::string TwoDigits(int number) { return (number < 10 ? "0" : "") + std::to_string(number); }

std::string DateWords(const LocalDate& date) {
  return std::to_string(date.year) + "-" + TwoDigits(date.month) + "-" + TwoDigits(date.day);
}

// Each term beside the pair that it found. `source` names the place of a pair, `sources` that of
// them all.
template <class Find, class Source>
Facts DescribeTerms(std::span<const KeyValueTerm> terms, WStringView required, const Find& find,
                    Source source, std::string_view sources, const char* none) {
  Facts facts;
  auto rest = yox::decision::Pieces(required);
  for (const KeyValueTerm& term : terms) {
    ExplainedFact& fact = facts.emplace_back();
    fact.required = yox::decision::NextPiece(rest, ',');
    fact.source = sources;
    const std::optional<PairView> pair = find(term.key);
    fact.result = ResultOf(yox::decision::LoggedMatch(term, find), !pair);
    if (pair) {
      fact.actual = pair->value;
      fact.source = source(*pair);
      if (pair->value.empty()) fact.note = "no text";
    } else {
      fact.note = none;
    }
  }
  return facts;
}

std::optional<std::size_t> NearestMiss(const Explanation& explanation) {
  std::optional<std::size_t> nearest;
  std::ptrdiff_t fewest = 0;
  for (std::size_t i = 0; i < explanation.filters.size(); ++i) {
    const ExplainedFilter& filter = explanation.filters[i];
    if (filter.outcome != FilterOutcome::kNotMatched || filter.answer == explanation.applies)
      continue;
    const std::ptrdiff_t failing = std::ranges::count_if(
        filter.criteria, [](const auto& criterion) { return criterion.result != Result::kHeld; });
    if (nearest && failing >= fewest) continue;
    nearest = i;
    fewest = failing;
  }
  return nearest;
}

// Copies of the caller's texts, which criteria trim.
struct CallersVersions {
  CallersVersions(const WString& client_version, const WString* target_version)
      : client(client_version) {
    if (target_version != nullptr) given_target = *target_version;
  }
  const WString* target() const { return given_target ? &*given_target : nullptr; }

  const WString client;
  std::optional<WString> given_target;
};

}  // namespace

Explanation ApplicabilityEvaluator::Explain(
    const std::shared_ptr<MachineInformation>& machineInformation, const WString& clientVersion,
    const ApplicabilityFilter& filter, AppAndTagCollection* tagCollection,
    const WString* targetVersion, const Pairs& extraTags) {
  const CallersVersions versions(clientVersion, targetVersion);
  return Decision(*this, machineInformation.get(), versions.client, tagCollection,
                  versions.target(), extraTags)
      .Explain(*filter.snapshot());
}

DecisionTrace ApplicabilityEvaluator::Trace(
    const std::shared_ptr<MachineInformation>& machineInformation, const WString& clientVersion,
    const ApplicabilityFilter& filter, AppAndTagCollection* tagCollection,
    const WString* targetVersion, const Pairs& extraTags) {
  const CallersVersions versions(clientVersion, targetVersion);
  return Decision(*this, machineInformation.get(), versions.client, tagCollection,
                  versions.target(), extraTags)
      .Trace(*filter.snapshot());
}

void ApplicabilityEvaluator::Decision::FetchLasting(const CompiledList& list) {
  const auto bit = [](FilterField field) {
    const auto row = std::ranges::find(kCriteria, field, &Criterion::field);
    return std::uint32_t{1} << (row - kCriteria.begin());
  };
  std::uint32_t set = 0;
  for (const Filter& filter : list.filters()) set |= filter.criteria();
  if ((set & bit(FilterField::hardware_id)) != 0) PresentHardwareIds();
  if ((set & bit(FilterField::installed_items)) != 0) Installed();
}

DecisionTrace ApplicabilityEvaluator::Decision::Trace(const CompiledList& list) {
  FetchLasting(list);
  const YOX::Log::Silence silence(g_evaluator_log);
  DecisionTrace trace;
  trace.applies = Decide(list, &trace.reason, &trace);
  return trace;
}

Explanation ApplicabilityEvaluator::Decision::Explain(const CompiledList& list) {
  DecisionTrace trace = Trace(list);
  const YOX::Log::Silence silence(g_evaluator_log);
  Explanation explanation{trace.applies, std::move(trace.reason), trace.decided_by, {}, {}};
  const std::size_t reached = trace.failed.size();
  for (const CompiledList::Program& program : list.programs()) {
    const std::size_t index = explanation.filters.size();
    const bool decides_unseen = program.decides != CompiledList::Control::kNotSet;
    ExplainedFilter& filter = explanation.filters.emplace_back();
    filter.outcome = index < reached   ? FilterOutcome::kNotMatched
                     : index > reached ? FilterOutcome::kNotReached
                     : decides_unseen  ? FilterOutcome::kDefault
                                       : FilterOutcome::kMatched;
    filter.answer =
        decides_unseen ? program.decides == CompiledList::Control::kTrue : program.value;
    for (const Step& step : list.Steps(program)) {
      filter.criteria.push_back(Describe(list, step, program.filter->View(step.field)));
    }
  }
  explanation.nearest_miss = NearestMiss(explanation);
  return explanation;
}

ExplainedCriterion ApplicabilityEvaluator::Decision::Describe(const CompiledList& list,
                                                              const Step& step,
                                                              const WString& required) {
  const Criterion& criterion = kCriteria[step.criterion];
  const bool lacking = LacksTargetVersion(step.field);
  const Outcome outcome = lacking ? Outcome{false} : Hold(list, step, required);
  const auto plain = [&](WStringView actual) {
    const bool missing = String::IsEmptyOrWhiteSpace(actual);
    return Facts{{required, WString(actual), std::string(criterion.source),
                  missing ? NoteOnEmpty(criterion.field) : "", ResultOf(outcome.matched, missing)}};
  };
  Facts facts;
  switch (criterion.field) {
    case FilterField::date_range:
      facts = plain(String::UTF8ToUTF16(DateWords(Today())));
      break;
    case FilterField::date_function:
      facts = {DescribeRollout(list.RolloutOf(step), required)};
      break;
    case FilterField::device_subscription:
      facts = DescribeSubscriptions(list, step, required);
      break;
    case FilterField::hardware_id:
      facts = {DescribeHardwareId(required)};
      break;
    case FilterField::org_hash:
      facts = plain(outcome.actual);
      if (Realm().empty()) {
        facts[0].note = NoteOnEmpty(criterion.field);
        facts[0].result = ResultOf(outcome.matched, true);
      }
      break;
    case FilterField::sn_hash:
      facts = plain(outcome.actual);
      if (machine_.View(MachineInformation::Text::serial_number).empty()) {
        facts[0].note = NoteOnEmpty(criterion.field);
        facts[0].result = ResultOf(outcome.matched, true);
      }
      break;
    case FilterField::registry:
      facts = DescribeRegistry(required);
      break;
    case FilterField::tag: {
      const FindInTags find{StoredTags(), extra_tags_};
      facts = DescribeTerms(
          list.Terms(step), required, find,
          [&](const PairView& pair) {
            return (find.IsCallers(pair.key) ? "caller's tag " : "tag ") +
                   String::UTF16ToUTF8(pair.key);
          },
          criterion.source, "no such tag");
      break;
    }
    case FilterField::installed_items:
      facts = DescribeTerms(
          list.Terms(step), required, Installed(),
          [](const PairView& pair) { return "application " + String::UTF16ToUTF8(pair.key); },
          criterion.source, "no such application");
      break;
    default:
      facts = plain(outcome.actual);
  }
  const Result result = ResultOf(outcome.matched, facts);
  return {criterion.field, required, result, std::move(facts)};
}

std::string ApplicabilityEvaluator::Decision::NoteOnEmpty(FilterField field) {
  switch (field) {
    case FilterField::enclosure:
    case FilterField::family:
    case FilterField::mfr:
    case FilterField::model:
      return SMBiosInformationRetriever::GetInstance() == nullptr ? "no firmware tables"
                                                                  : "no text";
    case FilterField::sku:
      return SMBiosInformationRetriever::GetInstance() == nullptr
                 ? "no firmware tables: holds unasked"
                 : "no text";
    case FilterField::org_hash:
      return YOX::EpUrlProvider::GetInstance() == nullptr ? "no organisation" : "no realm";
    case FilterField::sn_hash:
      return "no serial number";
    case FilterField::target_version:
      return "none given";
    case FilterField::version:
      return "no client version";
    default:
      return "no text";
  }
}

ExplainedFact ApplicabilityEvaluator::Decision::DescribeRollout(
    const yox::decision::Rollout& rollout, const WString& required) {
  yox::decision::RolloutProgress progress;
  const bool held = HoldRollout(rollout, progress);
  ExplainedFact fact{required, String::UTF8ToUTF16(DateWords(Today())), "clock", "",
                     ResultOf(held, false)};
  if (!progress.start) {
    fact.note = "not of the form START|DAYS|GROWTH";
  } else if (!progress.elapsed) {
    fact.note = Now() < *progress.start ? "has not begun" : "no number of days";
  } else {
    fact.note =
        "day " + std::to_string(*progress.elapsed) + " of " + std::to_string(rollout.days.number);
    if (!progress.bucket) {
      if (!held) fact.note += ", unknown growth";
      return fact;
    }
    const std::int64_t first = yox::decision::FirstDayIn(rollout, *progress.bucket);
    const bool nobody = rollout.by_tenant
                            ? Realm().empty()
                            : machine_.View(MachineInformation::Text::serial_number).empty();
    fact.source = rollout.by_tenant ? "clock, realm" : "clock, serial number";
    fact.result = ResultOf(held, nobody);
    fact.note += ", bucket " + std::to_string(*progress.bucket) + " of " +
                 std::to_string(yox::decision::kLastBucket) + " is in from day " +
                 std::to_string(first) + " on";
    if (nobody) fact.note += rollout.by_tenant ? ", no realm" : ", no serial number";
  }
  return fact;
}

std::vector<ExplainedFact> ApplicabilityEvaluator::Decision::DescribeRegistry(
    const WString& required) {
  using Stage = RegistryReading::Stage;
  constexpr const char* kNotes[] = {"not of the form HKLM\\KEY or HKCU\\KEY",
                                    "doubled separators",
                                    "no such key",
                                    "no such value",
                                    "longer than 4096 bytes",
                                    ""};
  Facts facts;
  for (auto rest = yox::decision::Pieces(required); rest;) {
    const WStringView piece = yox::decision::NextPiece(rest, ',');
    const auto requirement = RegistryRequirement::Parse(piece);
    const bool held = evaluator_.HoldsRegistryRequirement(requirement);
    ExplainedFact& fact = facts.emplace_back(ExplainedFact{WString(piece), {}, "registry", {}, {}});
    if (requirement.form != RegistryRequirement::Form::kComplete) {
      fact.note = "not of the form PATH:NAME|DATA";
      fact.result = ResultOf(held, false);
      continue;
    }
    WString path(requirement.path);
    RegistryReading reading = evaluator_.ReadRegistry(path, WString(requirement.name));
    fact.actual = std::move(reading.text);
    fact.note = kNotes[static_cast<std::size_t>(reading.stage)];
    if (reading.stage == Stage::kRead && fact.actual.empty()) fact.note = "no text";
    fact.result =
        ResultOf(held, reading.stage == Stage::kNoKey || reading.stage == Stage::kNoValue);
  }
  return facts;
}

ExplainedFact ApplicabilityEvaluator::Decision::DescribeHardwareId(const WString& required) {
  ExplainedFact fact{required, {}, "present devices", {}, {}};
  const bool held = evaluator_.FindHardwareId(required, &fact.actual);
  const std::size_t present = PresentHardwareIds();
  fact.result = ResultOf(held, !held);
  if (!held) {
    fact.note = present == 0 ? "no device has a hardware ID"
                             : "none of " + std::to_string(present) + " hardware IDs";
  }
  return fact;
}

std::vector<ExplainedFact> ApplicabilityEvaluator::Decision::DescribeSubscriptions(
    const CompiledList& list, const Step& step, const WString& required) {
  const std::vector<WString> subscriptions = Subscriptions();
  if (subscriptions.empty()) {
    return {{required,
             {},
             "organisation",
             YOX::EpUrlProvider::GetInstance() == nullptr ? "no organisation" : "no subscription",
             Result::kMissing}};
  }
  Facts facts;
  for (const WString& subscription : subscriptions) {
    facts.push_back({required,
                     subscription,
                     "organisation",
                     {},
                     ResultOf(yox::decision::AnyText(list.Texts(step), subscription), false)});
  }
  return facts;
}
