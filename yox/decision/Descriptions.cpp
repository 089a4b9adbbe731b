// What each criterion is compared with, in words: the `describe` column of kCriteria.
#include <algorithm>
#include <string>
#include <utility>

#include "yox/base/SaltedHash.h"
#include "yox/base/String.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/Explanation.h"

namespace yox::decision {
namespace {

using Facts = FactList;
using Result = CriterionResult;
using Step = CompiledList::Step;

constexpr const char* kNotKnown = "not known";

Result ResultOf(Truth truth, bool is_missing) {
  if (truth != Truth::kFalse) return truth == Truth::kTrue ? Result::kHeld : Result::kUnknown;
  return is_missing ? Result::kMissing : Result::kDiffers;
}

// `required` is the criterion's whole text or one term of it.
ExplainedFact FactOf(const Step& step, Truth truth, WStringView required) {
  return {WString(required),
          {},
          std::string(CriterionOf(step).source),
          truth == Truth::kUnknown ? kNotKnown : "",
          ResultOf(truth, false)};
}
ExplainedFact FactOf(const Step& step, Truth truth) { return FactOf(step, truth, step.required); }

// A fact that is one text.
Facts Plain(const Step& step, Truth truth, Knowledge knowledge, WStringView actual,
            bool is_missing) {
  const Criterion& criterion = CriterionOf(step);
  ExplainedFact fact = FactOf(step, truth);
  fact.actual = actual;
  fact.result = ResultOf(truth, is_missing);
  if (is_missing && knowledge != Knowledge::kUnknown) {
    const bool says_source = knowledge == Knowledge::kMissing && !criterion.no_source.empty();
    fact.note = says_source ? criterion.no_source : criterion.no_text;
  } else if (knowledge == Knowledge::kUnknown) {
    fact.note = kNotKnown;
  }
  return {std::move(fact)};
}

std::string TwoDigits(int number) { return (number < 10 ? "0" : "") + std::to_string(number); }

std::string DateWords(const LocalDate& date) {
  return std::to_string(date.year) + "-" + TwoDigits(date.month) + "-" + TwoDigits(date.day);
}

// Today, or the days that it may be.
WString TodayWords(DeviceFacts& facts) {
  const auto days = facts.Today().Possible();
  std::string words = DateWords(days.front());
  if (days.back() != days.front()) words += " to " + DateWords(days.back());
  return String::UTF8ToUTF16(words);
}

bool IsHashOfNothing(const TextFact& hash) {
  return hash.knowledge != Knowledge::kUnknown && hash.text == SaltedHashOf({});
}

// Each term beside the pair that it found. `source` names the place of a pair.
template <class Find, class Source>
Facts DescribeTerms(const Evaluation& evaluation, const Step& step, const Find& find, Source source,
                    const char* none) {
  Facts facts;
  auto rest = Pieces(step.required);
  for (const KeyValueTerm& term : evaluation.list.Terms(step)) {
    ExplainedFact fact = FactOf(step, Truth::kTrue, NextPiece(rest, ','));
    const std::optional<PairView> pair = find(term.key);
    bool holds = false;
    if (term.TryMatch(find, holds) != String::IntegerStatus::kOk) holds = false;
    fact.result = ResultOf(TruthOf(holds), !pair);
    if (pair) {
      fact.actual = pair->value;
      fact.source = source(*pair);
      if (pair->value.empty()) fact.note = "no text";
    } else {
      fact.note = none;
    }
    facts.Add(std::move(fact));
  }
  return facts;
}

// What a roll-out that is growing or complete says of the day, and of the bucket if it counts.
void DescribeProgress(DeviceFacts& facts, const Rollout& rollout, const RolloutProgress& progress,
                      Truth truth, ExplainedFact& fact) {
  fact.note =
      "day " + std::to_string(*progress.elapsed) + " of " + std::to_string(rollout.days.number);
  if (progress.stage == RolloutProgress::Stage::kUnknownGrowth) fact.note += ", unknown growth";
  if (progress.stage != RolloutProgress::Stage::kGrowing) return;
  fact.source = rollout.by_tenant ? "clock, realm" : "clock, serial number";
  const BucketFact bucket = facts.Bucket(rollout.by_tenant);
  if (bucket.knowledge == Knowledge::kUnknown) return;
  const bool is_nobody =
      IsHashOfNothing(facts.Text(rollout.by_tenant ? FilterField::org_hash : FilterField::sn_hash));
  fact.result = ResultOf(truth, is_nobody);
  fact.note += ", bucket " + std::to_string(bucket.bucket) + " of " + std::to_string(kLastBucket) +
               " is in from day " + std::to_string(FirstDayIn(rollout, bucket.bucket)) + " on";
  if (is_nobody) fact.note += rollout.by_tenant ? ", no realm" : ", no serial number";
}

const char* NoteOn(const CompiledRegistryRequirement& requirement, RegistryFact::Stage stage) {
  if (requirement.form != RegistryRequirement::Form::kComplete) {
    return "not of the form PATH:NAME|DATA";
  }
  if (!requirement.hive) return "not of the form HKLM\\KEY or HKCU\\KEY";
  if (requirement.has_doubled_separator) return "doubled separators";
  constexpr const char* kNotes[] = {kNotKnown, "no such key", "no such value",
                                    "longer than 4096 bytes", ""};
  return kNotes[static_cast<std::size_t>(stage)];
}

}  // namespace

Facts DescribeText(const Evaluation& evaluation, const Step& step, Truth truth) {
  const TextFact& fact = evaluation.facts.Text(step.field);
  return Plain(step, truth, fact.knowledge, fact.given, fact.text.empty());
}

// A hash is there also of what is not there.
Facts DescribeHash(const Evaluation& evaluation, const Step& step, Truth truth) {
  const TextFact& hash = evaluation.facts.Text(step.field);
  return Plain(step, truth, hash.knowledge, hash.given, IsHashOfNothing(hash));
}

Facts DescribeVersion(const Evaluation& evaluation, const Step& step, Truth truth) {
  const VersionFact& fact = evaluation.facts.Version(step.field);
  const WStringView actual = fact.text.text();
  return Plain(step, truth, fact.knowledge, actual, String::IsEmptyOrWhiteSpace(actual));
}

Facts DescribeDateRange(const Evaluation& evaluation, const Step& step, Truth truth) {
  ExplainedFact fact = FactOf(step, truth);
  fact.actual = TodayWords(evaluation.facts);
  return {std::move(fact)};
}

Facts DescribeRollout(const Evaluation& evaluation, const Step& step, Truth truth) {
  using enum RolloutProgress::Stage;
  const Rollout& rollout = evaluation.list.RolloutOf(step);
  ExplainedFact fact = FactOf(step, truth);
  fact.source = "clock";
  fact.actual = TodayWords(evaluation.facts);
  if (FlawOf(rollout)) {
    fact.note = "not of the form START|DAYS|GROWTH";
    return {std::move(fact)};
  }
  const auto& fields = rollout.start.fields;
  const auto start =
      evaluation.facts.StartOfDay(fields[0].number, fields[1].number, fields[2].number);
  if (start.earliest != start.latest) {
    if (truth == Truth::kUnknown) fact.note = "time zone not known";
    return {std::move(fact)};
  }
  const RolloutProgress progress = ProgressOf(rollout, start.earliest, evaluation.facts.Now());
  if (!progress.start) {
    fact.note = "not of the form START|DAYS|GROWTH";
  } else if (!progress.elapsed) {
    fact.note = progress.stage == kNotBegun ? "has not begun" : "no number of days";
  } else {
    DescribeProgress(evaluation.facts, rollout, progress, truth, fact);
  }
  return {std::move(fact)};
}

Facts DescribeSubscriptions(const Evaluation& evaluation, const Step& step, Truth truth) {
  const TextsFact& subscriptions = evaluation.facts.Subscriptions();
  if (subscriptions.texts.empty()) return Plain(step, truth, subscriptions.knowledge, {}, true);
  Facts facts;
  for (const WString& subscription : subscriptions.texts) {
    ExplainedFact fact = FactOf(step, TruthOf(AnyText(evaluation.list.Texts(step), subscription)));
    fact.actual = subscription;
    facts.Add(std::move(fact));
  }
  return facts;
}

Facts DescribeTags(const Evaluation& evaluation, const Step& step, Truth truth) {
  if (evaluation.facts.Tags().knowledge == Knowledge::kUnknown) return {FactOf(step, truth)};
  const auto find = [&](const TextPattern& name) { return evaluation.facts.FindTag(name); };
  const auto source = [&](const PairView& pair) {
    const bool is_callers = std::ranges::any_of(
        evaluation.facts.extra_tags(), [&](const auto& extra) { return extra.key() == pair.key; });
    return (is_callers ? "caller's tag " : "tag ") + String::UTF16ToUTF8(pair.key);
  };
  return DescribeTerms(evaluation, step, find, source, "no such tag");
}

Facts DescribeInstalledItems(const Evaluation& evaluation, const Step& step, Truth truth) {
  const PairsFact& items = evaluation.facts.InstalledItems();
  if (items.knowledge == Knowledge::kUnknown) return {FactOf(step, truth)};
  const auto find = [&](const TextPattern& name) { return items.pairs->First(name, NoPairs()); };
  const auto source = [](const PairView& pair) {
    return "application " + String::UTF16ToUTF8(pair.key);
  };
  return DescribeTerms(evaluation, step, find, source, "no such application");
}

Facts DescribeRegistry(const Evaluation& evaluation, const Step& step, Truth /*truth*/) {
  using enum RegistryFact::Stage;
  Facts facts;
  auto rest = Pieces(step.required);
  for (const CompiledRegistryRequirement& requirement : evaluation.list.Registry(step)) {
    const Truth met = evaluation.facts.MeetsRegistry(requirement);
    const RegistryFact value =
        requirement.CanHold() ? evaluation.facts.ReadRegistry(requirement) : RegistryFact{kRead};
    ExplainedFact fact = FactOf(step, met, NextPiece(rest, ','));
    fact.actual = value.text;
    fact.note = NoteOn(requirement, value.stage);
    if (requirement.CanHold() && value.stage == kRead && value.text.empty()) fact.note = "no text";
    fact.result = ResultOf(met, value.stage == kNoKey || value.stage == kNoValue);
    facts.Add(std::move(fact));
  }
  return facts;
}

Facts DescribeHardwareId(const Evaluation& evaluation, const Step& step, Truth truth) {
  const HardwareIdsFact& present = evaluation.facts.PresentHardwareIds();
  ExplainedFact fact = FactOf(step, truth);
  if (present.knowledge == Knowledge::kUnknown) return {std::move(fact)};
  const std::size_t count = present.ids != nullptr ? present.ids->All().size() : 0;
  if (truth != Truth::kTrue) {
    fact.result = ResultOf(truth, true);
    fact.note = count == 0 ? "no device has a hardware ID"
                           : "none of " + std::to_string(count) + " hardware IDs";
  } else if (present.ids != nullptr) {
    fact.actual = evaluation.list.HardwareId(step).Find(*present.ids).value_or(WStringView());
  }
  return {std::move(fact)};
}

}  // namespace yox::decision
