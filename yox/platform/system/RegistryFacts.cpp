#include "yox/platform/system/RegistryFacts.h"

#include <algorithm>

namespace yox::platform {
namespace {

// 0 unless all of the text is a decimal number that fits.
std::uint32_t Decimal(WStringView text) {
  constexpr std::size_t kMostDigits = 9;
  const bool is_number = text.size() <= kMostDigits && std::ranges::all_of(text, [](WChar c) {
                           return c >= WChar{'0'} && c <= WChar{'9'};
                         });
  if (!is_number) return 0;
  std::uint32_t number = 0;
  for (const WChar digit : text) number = number * 10 + static_cast<std::uint32_t>(digit - '0');
  return number;
}

}  // namespace

RegistryKey KeyOfMachine(WStringView path) {
  return {HKEY_LOCAL_MACHINE, WString(path), RegistryView::k64Bit, {}};
}

std::optional<RegistryKey> KeyOfUser(Users& users, WStringView path) {
  RegistryKey key{HKEY_CURRENT_USER, WString(path), RegistryView::kDefault, {}};
  if (users.IsSystemProcess()) {
    key.user = users.LoggedInUserSid();
    if (key.user.empty()) return std::nullopt;
  }
  return key;
}

WString ReadText(Registry& registry, const RegistryKey& key, WStringView name) {
  RegistryValue value;
  const bool is_text =
      registry.Get(key, name, value) == RegistryStatus::kOk &&
      (value.type == RegistryType::kText || value.type == RegistryType::kExpandableText);
  return is_text ? value.FirstText() : WString();
}

std::optional<std::uint32_t> ReadNumber(Registry& registry, const RegistryKey& key,
                                        WStringView name) {
  RegistryValue value;
  if (registry.Get(key, name, value) != RegistryStatus::kOk) return std::nullopt;
  return value.AsDword();
}

ChosenRegion ReadChosenRegion(Registry& registry, Users& users) {
  if (const auto geo = KeyOfUser(users, "Control Panel\\International\\Geo"_wv)) {
    // Both describe the same place: "Nation" by number, "Name" by code, since Windows 10.
    ChosenRegion chosen{Decimal(ReadText(registry, *geo, "Nation"_wv)),
                        ReadText(registry, *geo, "Name"_wv)};
    if (chosen != ChosenRegion()) return chosen;
  }
  const RegistryKey machine =
      KeyOfMachine("SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Control Panel\\DeviceRegion"_wv);
  return {ReadNumber(registry, machine, "DeviceRegion"_wv).value_or(0), {}};
}

}  // namespace yox::platform
