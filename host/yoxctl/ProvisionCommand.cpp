#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/policy/ProvisionFileUtility.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Inputs.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

using YOX::String;
using yox::WString;

struct ProvisionOptions {
  std::vector<std::string> files;
};

// The library reads leniently and says only whether it found content. What is wrong with a file is
// found here first, by a strict reader.
void CheckDocument(const std::string& utf8) {
  const Json::Value document = yox::ParseDocument(utf8);
  yox::JsonNode(document, utf8)
      .ForEachMember([](std::string_view key, const yox::JsonNode& member) {
        if (key == "provision_token" || key == "config_policy") {
          member.Require(member.value().isString(), "a string");
        }
      });
}

// The token of a file. `found` is set for the file that the library has found, and is its path
// there.
Answer AnswerOf(const std::string& name, const WString& found, bool& all_valid) {
  constexpr std::size_t kMost{ProvisionFileUtility::kLargestFile};
  ProvisionFileUtility& utility = *ProvisionFileUtility::GetInstance();
  std::string shown = name;
  try {
    if (name == kStandardInput) {
      const std::string bytes = ReadStandardInput(kMost);
      CheckDocument(bytes);
      utility.ExtractProvisionContentOf(bytes);
    } else {
      CheckDocument(yox::ReadDocumentFile(PathOf(name), kMost));
      const WString path =
          found.empty() ? String::UTF8ToUTF16(PathText(std::filesystem::absolute(PathOf(name))))
                        : found;
      utility.ExtractProvisionContent(path);
      shown = PathText(FileSystem::Locate(path));
    }
    if (!utility.GetProvisionContent().isObject()) {
      throw yox::DocumentError("cannot be read (a byte order mark is not allowed)");
    }
  } catch (const yox::DocumentError& error) {
    throw Refusal(NameOf(name) + ": " + error.what());
  }
  utility.PopulateProvisionInfo();
  const DeviceProvisionInfo info = utility.GetProvisionInfo();
  const std::string reason = utility.WhyTokenIsRefused();
  all_valid = all_valid && info.isTokenValid;
  Answer answer;
  answer.json["file"] = shown;
  answer.json["token_valid"] = info.isTokenValid;
  answer.json["reason"] = reason;
  answer.json["config_policy"] = info.isTokenValid && !info.configPolicy.empty();
  answer.text =
      OneLine(shown) + "\n" +
      (info.isTokenValid ? "the token is valid\n" : "the token is refused: " + reason + "\n");
  return answer;
}

int Check(const GlobalOptions& global, const ProvisionOptions& options) {
  const ChosenDevice device(global);
  std::vector<std::string> names = options.files;
  for (const std::string& name : names) Widened("FILE", name);  // the library keeps it as UTF-16
  WString found;
  if (names.empty()) {
    found = ProvisionFileUtility::GetInstance()->GetProvisionPath();
    if (found.empty()) throw Refusal("there is no provision file");
    found += ProvisionFileUtility::kFileName;
    names.push_back(PathText(FileSystem::Locate(found)));
  }
  bool all_valid = true;
  const bool readable = PrintAnswers(
      global, names, [&](const std::string& name) { return AnswerOf(name, found, all_valid); });
  if (!readable) return kRefused;
  return all_valid ? kDone : kNegative;
}

}  // namespace

Command ProvisionCommand() {
  const auto options = std::make_shared<ProvisionOptions>();
  Command check{
      .name = "check",
      .help = "Find the file and check its token; a copy that another one hides is deleted",
      .options = {{.name = "FILE",
                   .help = "The files, instead of finding one; -: standard input",
                   .target = &options->files}},
      .run = [options](const GlobalOptions& global) { return Check(global, *options); }};
  return {.name = "provision",
          .help = "The provision file of the device",
          .commands = {std::move(check)}};
}

}  // namespace yoxctl
