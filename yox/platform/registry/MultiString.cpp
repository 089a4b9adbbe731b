#include "yox/platform/registry/MultiString.h"

#include <cstring>

namespace yox::platform {

std::vector<WString> ReadMultiString(std::uint32_t type, std::string_view bytes) {
  if (type != kMultiStringType) return {};
  WString units(bytes.size() / sizeof(WChar), WChar{});
  std::memcpy(units.data(), bytes.data(), units.size() * sizeof(WChar));

  std::vector<WString> texts;
  for (WStringView rest = units; !rest.empty() && rest.front() != WChar{};) {
    const WStringView text = rest.substr(0, rest.find(WChar{}));
    texts.emplace_back(text);
    rest.remove_prefix(text.size() == rest.size() ? text.size() : text.size() + 1);
  }
  return texts;
}

std::string WriteMultiString(const std::vector<WString>& texts) {
  WString units;
  for (const WString& text : texts) units.append(text).push_back(WChar{});
  units.push_back(WChar{});
  return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(WChar)};
}

}  // namespace yox::platform
