#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/ExplanationDocument.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/ExplanationText.h"
#include "host/yoxctl/FactsQuestion.h"
#include "host/yoxctl/Inputs.h"
#include "host/yoxctl/MachineRecord.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/Paint.h"

using yox::decision::Explanation;
using yox::decision::ReadFilterDocument;

namespace yoxctl {
namespace {

struct EvaluateOptions {
  std::vector<std::string> lists;
  std::optional<std::string> target_version;
  std::vector<std::string> tags;
  std::optional<std::string> facts;
  bool explain = false;
};

ApplicabilityEvaluator::Pairs TagsOf(const std::vector<std::string>& arguments) {
  ApplicabilityEvaluator::Pairs tags;
  for (const std::string& argument : arguments) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos || equals == 0) {
      throw Refusal("--tag: expected KEY=VALUE, found \"" + yox::Printable(argument) + "\"");
    }
    tags.emplace_back(Widened("--tag", argument.substr(0, equals)),
                      Widened("--tag", argument.substr(equals + 1)));
  }
  return tags;
}

// Without --explain: the decision alone. A decision without facts that are unknown has no other
// members than `applies` and `reason`.
Json::Value AnswerJson(const Explanation& explanation) {
  const Json::Value whole = ExplanationJson(explanation);
  Json::Value answer;
  for (const char* const key : {"applies", "reason", "needs"}) {
    if (whole.isMember(key)) answer[key] = whole[key];
  }
  return answer;
}

Answer AnswerOf(const GlobalOptions& global, bool explain, const Explanation& explanation) {
  const Painter paint = explain ? PainterOfOutput(global.colours) : Painter(false);
  return {AnswerText(explanation, paint) + (explain ? ExplanationText(explanation, paint) : ""),
          explain ? ExplanationJson(explanation) : AnswerJson(explanation)};
}

using Decide = std::function<Explanation(const ApplicabilityFilter& list)>;

// Decides each list, and says so.
int EvaluateEach(const GlobalOptions& global, bool explain, const std::vector<std::string>& lists,
                 const Decide& decide) {
  bool all_apply = true;
  const bool readable = PrintAnswers(global, lists, [&](const std::string& name) {
    const Explanation explanation = decide(ReadNamed(name, ReadFilterDocument));
    all_apply = all_apply && explanation.applies;
    return AnswerOf(global, explain, explanation);
  });
  if (!readable) return kRefused;
  return all_apply ? kDone : kNegative;
}

int EvaluateOnFacts(const GlobalOptions& global, const EvaluateOptions& options,
                    const std::vector<std::string>& lists, yox::decision::Question question) {
  if (global.device || global.state_dir) {
    throw Refusal("--facts: the facts are the device: --device and --state-dir are not for it");
  }
  const std::string& file = *options.facts;
  const auto facts = Named(file == kStandardInput ? "standard input" : file,
                           [text = ReadInput(file)] { return yox::decision::ReadFacts(text); });
  question.now = MomentOn(facts, "--now", global.now);
  return EvaluateEach(global, options.explain, lists, [&](const ApplicabilityFilter& list) {
    return ExplainOn(facts, list, question);
  });
}

int Evaluate(const GlobalOptions& global, const EvaluateOptions& options) {
  yox::decision::Question question{0, {}, TagsOf(options.tags)};
  if (options.target_version) {
    question.target_version = Widened("--target-version", *options.target_version);
  }
  const std::vector<std::string> lists = ExpandFolders(options.lists, IsFilterList);
  if (options.facts) return EvaluateOnFacts(global, options, lists, std::move(question));

  const ChosenDevice device(global);
  PublishMachineRecord();
  const auto evaluator = ApplicabilityEvaluator::CreateWithoutTasks();
  return EvaluateEach(global, options.explain, lists, [&](const ApplicabilityFilter& list) {
    std::optional<yox::WString> version = question.target_version;  // which a decision may trim
    yox::WString* const target = version ? &*version : nullptr;
    if (options.explain) return evaluator->Explain(list, target, question.extra_tags);
    Explanation decided;
    decided.applies = evaluator->IsApplicable(list, target, question.extra_tags, decided.reason);
    return decided;
  });
}

}  // namespace

Command EvaluateCommand() {
  const auto options = std::make_shared<EvaluateOptions>();
  return {.name = "evaluate",
          .help = "Whether a filter list applies to the device, and why",
          .options = {{.name = "FILTERS.json",
                       .help = "The filter lists; a directory: all below it; -: standard input",
                       .target = &options->lists,
                       .required = true},
                      {.name = "--target-version",
                       .type = "V",
                       .help = "The version that the content is for",
                       .target = &options->target_version},
                      {.name = "--tag",
                       .type = "KEY=VALUE",
                       .help = "A tag of the device; may be given several times",
                       .target = &options->tags},
                      {.name = "--facts",
                       .type = "FACTS.json",
                       .help = "Decide on the device of this facts document, at the moment of "
                               "--now; - is standard input",
                       .target = &options->facts},
                      {.name = "--explain",
                       .help = "Show for every filter and criterion what was required and what the "
                               "device has",
                       .target = &options->explain}},
          .run = [options](const GlobalOptions& global) { return Evaluate(global, *options); }};
}

}  // namespace yoxctl
