#include "yox/platform/system/FactQueries.h"

#include "yox/base/String.h"

namespace yox::platform {
namespace {

constexpr std::uint32_t kUnknownArchitecture = 65535;

ManagementValue Caption(OperatingSystem& system) {
  const WString caption = system.Caption();
  return caption.empty() ? ManagementValue() : caption;
}

ManagementValue Architecture(OperatingSystem& system) {
  const std::uint32_t architecture = system.Architecture();
  if (architecture == kUnknownArchitecture) return {};
  return static_cast<std::int32_t>(architecture);
}

struct Fact {
  WStringView object;
  WStringView property;
  ManagementValue (*value)(OperatingSystem&);
};
constexpr Fact kFacts[] = {
    {"Win32_OperatingSystem"_wv, "Caption"_wv, Caption},
    {"Win32_Processor"_wv, "Architecture"_wv, Architecture},
};

}  // namespace

ManagementAnswer FactQueries::Ask(WStringView, WStringView query, WStringView property) {
  ManagementAnswer answer;
  for (const Fact& fact : kFacts) {
    if (!String::CaseInsesitiveEqual(property, fact.property) ||
        !String::CaseInsesitiveEqual(
            query, "SELECT "_w + WString(fact.property) + " FROM "_w + WString(fact.object))) {
      continue;
    }
    ManagementValue value = fact.value(operating_system_);
    if (!std::holds_alternative<NoValue>(value)) answer.rows.push_back({0, std::move(value)});
  }
  return answer;
}

}  // namespace yox::platform
