#include "yox/platform/registry/Registry.h"

#include <utility>

#include "yox/base/Log.h"

namespace yox::platform {
namespace {

void AppendText(std::vector<std::uint8_t>& data, WStringView text) {
  for (const WChar unit : text) {
    data.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    data.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  data.insert(data.end(), 2, 0);
}

template <class Number>
std::vector<std::uint8_t> LittleEndian(Number number) {
  std::vector<std::uint8_t> data;
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    data.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
  }
  return data;
}

template <class Number>
std::optional<Number> FromLittleEndian(const RegistryValue& value, RegistryType type) {
  if (value.type != type || value.data.size() != sizeof(Number)) return std::nullopt;
  Number number = 0;
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    number |= static_cast<Number>(value.data[i]) << (8 * i);
  }
  return number;
}

// Returns the string that starts at `offset`, and moves `offset` past its terminator.
WString NextText(std::span<const std::uint8_t> data, std::size_t& offset) {
  WString text;
  for (; offset + 1 < data.size(); offset += 2) {
    const auto unit = static_cast<WChar>(data[offset] | (data[offset + 1] << 8));
    if (unit == 0) break;
    text += unit;
  }
  offset += 2;
  return text;
}

class UnknownTracker final : public RegistryTracker {
 public:
  std::uint64_t Generation() override { return 0; }
};

}  // namespace

RegistryValue RegistryValue::Text(WStringView text) {
  RegistryValue value{RegistryType::kText, {}};
  AppendText(value.data, text);
  return value;
}

RegistryValue RegistryValue::ExpandableText(WStringView text) {
  RegistryValue value = Text(text);
  value.type = RegistryType::kExpandableText;
  return value;
}

RegistryValue RegistryValue::MultiText(std::span<const WString> texts) {
  RegistryValue value{RegistryType::kMultiText, {}};
  for (const WString& text : texts) AppendText(value.data, text);
  AppendText(value.data, {});
  return value;
}

RegistryValue RegistryValue::Dword(std::uint32_t number) {
  return {RegistryType::kDword, LittleEndian(number)};
}

RegistryValue RegistryValue::Qword(std::uint64_t number) {
  return {RegistryType::kQword, LittleEndian(number)};
}

RegistryValue RegistryValue::Binary(std::vector<std::uint8_t> bytes) {
  return {RegistryType::kBinary, std::move(bytes)};
}

WString RegistryValue::FirstText() const {
  std::size_t offset = 0;
  return NextText(data, offset);
}

std::vector<WString> RegistryValue::Texts() const {
  std::vector<WString> texts;
  for (std::size_t offset = 0;;) {
    WString text = NextText(data, offset);
    if (text.empty()) return texts;
    texts.push_back(std::move(text));
  }
}

std::optional<std::uint32_t> RegistryValue::AsDword() const {
  return FromLittleEndian<std::uint32_t>(*this, RegistryType::kDword);
}

std::optional<std::uint64_t> RegistryValue::AsQword() const {
  return FromLittleEndian<std::uint64_t>(*this, RegistryType::kQword);
}

std::unique_ptr<RegistryTracker> Registry::Track(std::span<const RegistryKey>) {
  return std::make_unique<UnknownTracker>();
}

bool Registry::Exists(const RegistryKey& key) {
  HKEY opened = nullptr;
  if (Open(key, kRead, opened) != RegistryStatus::kOk) return false;
  Close(opened);
  return true;
}

RegistryStatus Registry::CreateKey(const RegistryKey& key) {
  const RegistryEdit edit{RegistryAction::kCreateKey, key, {}, {}};
  return Apply({&edit, 1});
}

RegistryStatus Registry::DeleteKey(const RegistryKey& key) {
  const RegistryEdit edit{RegistryAction::kDeleteKey, key, {}, {}};
  return Apply({&edit, 1});
}

RegistryStatus Registry::SetValue(const RegistryKey& key, const WString& name,
                                  RegistryValue value) {
  const RegistryEdit edit{RegistryAction::kSetValue, key, name, std::move(value)};
  return Apply({&edit, 1});
}

RegistryStatus Registry::DeleteValue(const RegistryKey& key, const WString& name) {
  const RegistryEdit edit{RegistryAction::kDeleteValue, key, name, {}};
  return Apply({&edit, 1});
}

void Registry::OnFailure(std::function<void(std::string_view)> failed) {
  const MutexLock lock(failure_mutex_);
  failed_ = std::move(failed);
}

void Registry::ReportFailure(const char* operation, std::string_view text) {
  g_log.e("%s: %s", operation, text);
  const MutexLock lock(failure_mutex_);
  if (failed_) failed_(text);
}

}  // namespace yox::platform
