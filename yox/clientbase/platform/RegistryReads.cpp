#include "yox/clientbase/platform/RegistryReads.h"

#include "yox/clientbase/platform/Platform.h"

namespace YOX::platform {
namespace {

std::optional<RegistryValue> Read(WStringView key, WStringView name, RegistryType type) {
  RegistryValue value;
  const RegistryStatus status = Platform::Get().registry().Get(
      {.root = HKEY_LOCAL_MACHINE, .path = WString(key), .view = {}, .user = {}}, name, value);
  if (status != RegistryStatus::kOk || value.type != type) return std::nullopt;
  return value;
}

// The text that begins at `at`, to its terminator or the end.
WString TextAt(const std::vector<std::uint8_t>& data, std::size_t at) {
  WString text;
  for (; at + 1 < data.size(); at += 2) {
    const auto unit = static_cast<WChar>(data[at] | (data[at + 1] << 8));
    if (unit == 0) break;
    text += unit;
  }
  return text;
}

}  // namespace

std::optional<WString> ReadMachineText(WStringView key, WStringView value) {
  const auto read = Read(key, value, RegistryType::kText);
  if (!read) return std::nullopt;
  return TextAt(read->data, 0);
}

std::vector<WString> ReadMachineTexts(WStringView key, WStringView value) {
  std::vector<WString> texts;
  const auto read = Read(key, value, RegistryType::kMultiText);
  for (std::size_t at = 0; read && at + 1 < read->data.size();) {
    WString text = TextAt(read->data, at);
    if (text.empty()) break;  // the end of the list
    at += (text.size() + 1) * 2;
    texts.push_back(std::move(text));
  }
  return texts;
}

std::optional<std::uint32_t> ReadMachineDword(WStringView key, WStringView value) {
  const auto read = Read(key, value, RegistryType::kDword);
  if (!read) return std::nullopt;
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < read->data.size() && i < sizeof number; ++i) {
    number |= std::uint32_t{read->data[i]} << (8 * i);
  }
  return number;
}

}  // namespace YOX::platform
