#include <memory>
#include <optional>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/ExplanationDocument.h"
#include "yox/decision/FilterDocument.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/ExplanationText.h"
#include "host/yoxctl/MachineRecord.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/Paint.h"

using yox::decision::Explanation;
using yox::decision::ReadFilterDocument;

namespace yoxctl {
namespace {

struct EvaluateOptions {
  std::string filters;
  std::optional<std::string> target_version;
  std::vector<std::string> tags;
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

std::string AnswerText(bool applies, const yox::WString& reason, const Painter& paint) {
  return paint(applies ? Paint::kGood : Paint::kBad, AnswerWord(applies)) + "\n" +
         YOX::String::UTF16ToUTF8(reason) + "\n";
}

int Evaluate(const GlobalOptions& global, const EvaluateOptions& options) {
  const ApplicabilityEvaluator::Pairs tags = TagsOf(options.tags);
  yox::WString target_version = Widened("--target-version", options.target_version.value_or(""));
  const ApplicabilityFilter filter = ReadNamed(options.filters, ReadFilterDocument);
  const ChosenDevice device(global);

  PublishMachineRecord();
  const auto evaluator = ApplicabilityEvaluator::CreateWithoutTasks();
  yox::WString* const target = options.target_version ? &target_version : nullptr;

  if (options.explain) {
    const Explanation explanation = evaluator->Explain(filter, target, tags);
    const Painter paint = PainterOfOutput(global.colours);
    Print(global.json ? yox::JsonText(ExplanationJson(explanation))
                      : AnswerText(explanation.applies, explanation.reason, paint) +
                            ExplanationText(explanation, paint));
    return explanation.applies ? kDone : kNegative;
  }
  yox::WString reason;
  const bool applies = evaluator->IsApplicable(filter, target, tags, reason);
  if (global.json) {
    Json::Value answer;
    answer["applies"] = applies;
    answer["reason"] = YOX::String::UTF16ToUTF8(reason);
    Print(yox::JsonText(answer));
  } else {
    Print(AnswerText(applies, reason, Painter(false)));
  }
  return applies ? kDone : kNegative;
}

}  // namespace

Command EvaluateCommand() {
  const auto options = std::make_shared<EvaluateOptions>();
  return {.name = "evaluate",
          .help = "Whether a filter list applies to the device, and why",
          .options = {{.name = "FILTERS.json",
                       .help = "The filter list",
                       .target = &options->filters,
                       .required = true},
                      {.name = "--target-version",
                       .type = "V",
                       .help = "The version that the content is for",
                       .target = &options->target_version},
                      {.name = "--tag",
                       .type = "KEY=VALUE",
                       .help = "A tag of the device; may be given several times",
                       .target = &options->tags},
                      {.name = "--explain",
                       .help = "Tell of every filter and criterion what was required and what the "
                               "device has",
                       .target = &options->explain}},
          .run = [options](const GlobalOptions& global) { return Evaluate(global, *options); }};
}

}  // namespace yoxctl
