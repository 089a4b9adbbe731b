#include <memory>

#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/tags/AppAndTagCollection.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/MachineRecord.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

int Tags(const GlobalOptions& global) {
  const ChosenDevice device(global);
  PublishMachineRecord();

  Json::Value document(Json::arrayValue);
  std::string text;
  for (const YOXTag& tag : AppAndTagCollection::GetInstance()->getTags()) {
    const std::string key = YOX::String::UTF16ToUTF8(tag.key());
    const std::string value = YOX::String::UTF16ToUTF8(tag.value());
    Json::Value& member = document.append(Json::objectValue);
    member["key"] = key;
    member["value"] = value;
    text += OneLine(key + "=" + value) + "\n";
  }
  Print(global.json ? yox::JsonText(document) : text);
  return kDone;
}

}  // namespace

Command TagsCommand() {
  return {.name = "tags",
          .help = "The device's tags, in the order in which a filter sees them",
          .run = Tags};
}

}  // namespace yoxctl
