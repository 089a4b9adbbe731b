#include <json/value.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "yox/base/Json.h"
#include "yox/base/NearestWord.h"
#include "yox/base/String.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/FieldHelp.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/FieldFacts.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/Paint.h"
#include "host/yoxctl/Table.h"

using yox::decision::ExplainedFact;
using yox::decision::FieldHelp;
using yox::decision::FilterField;
using yox::decision::HelpOf;
using yox::decision::kFilterFieldNames;

namespace yoxctl {
namespace {

FilterField FieldOf(const std::string& name) {
  const auto* const found = std::ranges::find(kFilterFieldNames, name);
  if (found != std::end(kFilterFieldNames)) {
    return static_cast<FilterField>(found - std::begin(kFilterFieldNames));
  }
  throw Refusal("explain-field: there is no field \"" + yox::Printable(name) + "\"" +
                yox::DidYouMean(name, kFilterFieldNames));
}

std::vector<std::string> ExamplesOf(const FieldHelp& help) {
  std::vector<std::string> examples;
  for (std::string_view rest = help.examples; !rest.empty();) {
    const std::size_t end = rest.find("  ");
    examples.emplace_back(rest.substr(0, end));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 2);
  }
  return examples;
}

int ExplainField(const GlobalOptions& global, const std::string& name) {
  const FilterField field = FieldOf(name);
  const FieldHelp& help = HelpOf(field);
  const std::vector<std::string> examples = ExamplesOf(help);
  const ChosenDevice device(global);
  const std::vector<ExplainedFact> facts = FactsOfField(field, examples.front());
  if (global.json) {
    Json::Value json;
    json["field"] = name;
    json["meaning"] = std::string(help.meaning);
    json["language"] = std::string(help.language);
    for (const std::string& example : examples) json["examples"].append(example);
    json["device"] = Json::Value(Json::arrayValue);
    for (const ExplainedFact& fact : facts) {
      Json::Value one;
      one["required"] = YOX::String::UTF16ToUTF8(fact.required);
      one["actual"] = YOX::String::UTF16ToUTF8(fact.actual);
      one["source"] = fact.source;
      if (!fact.note.empty()) one["note"] = fact.note;
      json["device"].append(one);
    }
    Print(yox::JsonText(json));
    return kDone;
  }
  constexpr std::size_t kColumn = 10;
  const Painter paint = PainterOfOutput(global.colours);
  Lines lines(paint);
  const auto row = [&](const std::string& head, const std::string& text) {
    lines.Write(Paint::kStrong, head).To(kColumn).WriteWords(Paint::kPlain, text).NewLine();
  };
  row(name, std::string(help.meaning));
  row("form", std::string(help.language));
  for (const std::string& example : examples)
    row("example", "\"" + name + "\": \"" + example + "\"");
  for (const ExplainedFact& fact : facts) row("device", FactText(fact));
  Print(std::move(lines).Take());
  return kDone;
}

}  // namespace

Command ExplainFieldCommand() {
  const auto name = std::make_shared<std::string>();
  return {.name = "explain-field",
          .help = "What a field of a filter means, how it is written, and what the device has",
          .options = {{.name = "NAME",
                       .help = "The field, as filter lists spell it",
                       .target = name.get(),
                       .required = true}},
          .run = [name](const GlobalOptions& global) { return ExplainField(global, *name); }};
}

}  // namespace yoxctl
