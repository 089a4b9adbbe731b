#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "yox/base/Document.h"
#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/policy/ProvisionFileUtility.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

using YOX::String;
using yox::WString;

struct ProvisionOptions {
  std::optional<std::string> file;
};

// The library reads leniently and says only whether it found content. What is wrong with a file is
// found here first, by a strict reader.
void CheckDocument(const std::string& utf8) {
  const Json::Value document = yox::ParseDocument(utf8);
  yox::JsonNode(document).ForEachMember([](std::string_view key, const yox::JsonNode& member) {
    if (key == "provision_token" || key == "config_policy") {
      member.Require(member.value().isString(), "a string");
    }
  });
}

int Check(const GlobalOptions& global, const ProvisionOptions& options) {
  const ChosenDevice device(global);
  ProvisionFileUtility& utility = *ProvisionFileUtility::GetInstance();
  WString path;
  if (!options.file) {
    path = utility.GetProvisionPath();
    if (path.empty()) throw Refusal("there is no provision file");
    path += ProvisionFileUtility::kFileName;
  }
  if (options.file) Widened("FILE", *options.file);  // the library keeps it as UTF-16
  const std::string name = options.file.value_or(PathText(FileSystem::Locate(path)));
  try {
    CheckDocument(
        yox::ReadDocumentFile(PathOf(name), std::size_t{ProvisionFileUtility::kLargestFile}));
    if (options.file) path = String::UTF8ToUTF16(PathText(std::filesystem::absolute(PathOf(name))));
    utility.ExtractProvisionContent(path);
    if (!utility.GetProvisionContent().isObject()) {
      throw yox::DocumentError("cannot be read (a byte order mark is not allowed)");
    }
  } catch (const yox::DocumentError& error) {
    throw Refusal(NameOf(name) + ": " + error.what());
  }
  const std::string shown = PathText(FileSystem::Locate(path));
  utility.PopulateProvisionInfo();
  const DeviceProvisionInfo info = utility.GetProvisionInfo();
  const std::string reason = utility.WhyTokenIsRefused();
  if (global.json) {
    Json::Value answer;
    answer["file"] = shown;
    answer["token_valid"] = info.isTokenValid;
    answer["reason"] = reason;
    answer["config_policy"] = info.isTokenValid && !info.configPolicy.empty();
    Print(yox::JsonText(answer));
  } else {
    Print(OneLine(shown) + "\n" +
          (info.isTokenValid ? "the token is valid\n" : "the token is refused: " + reason + "\n"));
  }
  return info.isTokenValid ? kDone : kNegative;
}

}  // namespace

Command ProvisionCommand() {
  const auto options = std::make_shared<ProvisionOptions>();
  Command check{
      .name = "check",
      .help = "Find the file and check its token; a copy that another one hides is deleted",
      .options = {{.name = "FILE",
                   .help = "The file, instead of finding it",
                   .target = &options->file}},
      .run = [options](const GlobalOptions& global) { return Check(global, *options); }};
  return {.name = "provision",
          .help = "The provision file of the device",
          .commands = {std::move(check)}};
}

}  // namespace yoxctl
