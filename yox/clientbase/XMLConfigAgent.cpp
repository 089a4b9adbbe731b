#include "yox/clientbase/XMLConfigAgent.h"

#include <pugixml.hpp>
#include <string>

#include "yox/base/String.h"
#include "yox/base/ThreadSlot.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/platform/Platform.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/PathText.h"

using namespace yox::literals;
using YOX::String;
using yox::WString;

struct XMLConfigAgent::Element {
  const char* name;
  WString XMLConfigAgent::*text;
};

const XMLConfigAgent::Element XMLConfigAgent::kElements[] = {
    {"MachineType", &XMLConfigAgent::machine_type_},
    {"SerialNumber", &XMLConfigAgent::serial_number_},
    {"BIOSVersion", &XMLConfigAgent::bios_version_},
    {"MTM", &XMLConfigAgent::mtm_},
    {"MachineModel", &XMLConfigAgent::machine_model_},
};

XMLConfigAgent XMLConfigAgent::Parse(std::string_view xml) {
  XMLConfigAgent agent;
  pugi::xml_document document;
  if (!document.load_buffer(xml.data(), xml.size(), pugi::parse_default, pugi::encoding_auto)) {
    return agent;
  }
  const pugi::xml_node configuration = document.child("configuration");
  for (const Element& element : kElements) {
    const WString text = String::UTF8ToUTF16(configuration.child_value(element.name));
    agent.*element.text = WString(String::Trimmed(text));
  }
  return agent;
}

XMLConfigAgent& XMLConfigAgent::GetInstance(int /*unused*/) {
  constexpr std::size_t kLargest = std::size_t{1} << 20;
  auto& agent = yox::ThreadOwned<XMLConfigAgent>();
  const WString path =
      FileSystem::GetCommonApplicationDataPath() + yox::platform::NativePath("\\yox-config.xml"_wv);
  const auto xml =
      yox::platform::Platform::Get().files().ReadTrusted(FileSystem::Locate(path), kLargest);
  agent = Parse(xml.value_or(""));
  return agent;
}
