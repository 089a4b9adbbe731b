#include <memory>
#include <string>
#include <vector>

#include "yox/base/DocumentLayout.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Inputs.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/TextDiff.h"

namespace yoxctl {
namespace {

struct FmtOptions {
  std::vector<std::string> files;
  bool check = false;
  bool diff = false;
};

// Returns whether the file has another layout.
bool FormatFile(const std::string& name, const FmtOptions& options) {
  const std::string text = ReadInput(name);
  const std::string laid_out = Named(name, [&] { return yox::LayOutDocument(text); });
  const bool differs = text != laid_out;
  if (options.diff) {
    Print(UnifiedDiff(NameOf(name), text, laid_out));
  } else if (options.check) {
    if (differs) Print(NameOf(name) + "\n");
  } else if (name == kStandardInput) {
    Print(laid_out);
  } else if (differs) {
    WriteFile(name, laid_out);
    Print(NameOf(name) + "\n");
  }
  return differs;
}

int Fmt(const FmtOptions& options) {
  bool differs = false;
  const auto is_meant = [](const std::string& name, const Json::Value& document) {
    return IsFilterList(name, document) || IsListTest(name, document);
  };
  const bool readable = ForEachInput(
      ExpandFolders(options.files, is_meant),
      [&](const std::string& name) { differs = FormatFile(name, options) || differs; });
  if (!readable) return kRefused;
  return differs && (options.check || options.diff) ? kNegative : kDone;
}

}  // namespace

Command FmtCommand() {
  const auto options = std::make_shared<FmtOptions>();
  return {.name = "fmt",
          .help = "Lay out filter lists and their tests, and print the names of those that change",
          .options = {{.name = "FILE.json",
                       .help = "The documents; a directory: all lists and tests below it; -: "
                               "standard input to standard output",
                       .target = &options->files,
                       .required = true},
                      {.name = "--check",
                       .help = "Write nothing; exit with 1 if a document would change",
                       .target = &options->check},
                      {.name = "--diff",
                       .help = "Print what would change, and write nothing",
                       .target = &options->diff}},
          .run = [options](const GlobalOptions&) { return Fmt(*options); }};
}

}  // namespace yoxctl
