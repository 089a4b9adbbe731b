#include "yox/platform/registry/windows/KeyContent.h"

#include <utility>

namespace yox::platform {

LSTATUS ReadValue(HKEY key, const WString& name, RegistryValue& value) {
  DWORD type = 0;
  DWORD size = static_cast<DWORD>(value.data.size());
  for (;;) {
    // Without a buffer the call succeeds and returns the size alone.
    BYTE* const buffer = value.data.empty() ? nullptr : value.data.data();
    const LSTATUS error = RegQueryValueExW(key, name.c_str(), nullptr, &type, buffer, &size);
    if (error != ERROR_SUCCESS && error != ERROR_MORE_DATA) return error;
    if (error == ERROR_SUCCESS && size <= value.data.size()) {
      value.data.resize(size);
      value.type = RegistryType{type};
      return ERROR_SUCCESS;
    }
    // Again, for it may grow between two calls.
    value.data.resize(size);
  }
}

ValueCalls ValueCalls::Of(HKEY key) {
  return {
      [key](DWORD& count, DWORD& longest_data) {
        return RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count,
                                nullptr, &longest_data, nullptr, nullptr);
      },
      [key](DWORD index, WCHAR* name, DWORD* name_size, DWORD* type, BYTE* data, DWORD* data_size) {
        return RegEnumValueW(key, index, name, name_size, nullptr, type, data, data_size);
      },
      [key](const WString& name, RegistryValue& value) { return ReadValue(key, name, value); }};
}

LSTATUS ForEachValue(const ValueCalls& calls, std::size_t longest_name,
                     const std::function<void(WString name, RegistryValue value)>& visit) {
  DWORD count = 0, longest_data = 0;
  const LSTATUS error = calls.query_info(count, longest_data);
  if (error != ERROR_SUCCESS) return error;
  WString name(longest_name + 1, L'\0');
  // Never empty: without a buffer the call succeeds, and returns the size alone.
  std::vector<BYTE> data(longest_data + std::size_t{1});
  for (DWORD index = 0;; ++index) {
    auto size = static_cast<DWORD>(name.size());
    auto data_size = static_cast<DWORD>(data.size());
    DWORD type = 0;
    LSTATUS result = calls.enumerate(index, name.data(), &size, &type, data.data(), &data_size);
    if (result == ERROR_SUCCESS) {
      visit(WString(name, 0, size),
            RegistryValue{RegistryType{type}, {data.begin(), data.begin() + data_size}});
      continue;
    }
    if (result == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    // Past the values that there were at the start, a failure is not that of one value.
    if (index >= count) return ERROR_SUCCESS;
    // A value that has grown, or a failure of the data alone.
    size = static_cast<DWORD>(name.size());
    result = calls.enumerate(index, name.data(), &size, nullptr, nullptr, nullptr);
    if (result != ERROR_SUCCESS) continue;
    const WString found(name, 0, size);
    RegistryValue value;
    if (calls.read(found, value) == ERROR_SUCCESS) visit(found, std::move(value));
  }
}

LSTATUS ForEachSubKey(HKEY key, const std::function<void(WString name)>& visit) {
  WString name(kLongestRegistryKeyName + 1, L'\0');
  for (DWORD index = 0;; ++index) {
    auto size = static_cast<DWORD>(name.size());
    const LSTATUS result =
        RegEnumKeyExW(key, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
    if (result == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (result != ERROR_SUCCESS) return result;
    visit(WString(name, 0, size));
  }
}

}  // namespace yox::platform
