#pragma once

#include <windows.h>

#include <cstddef>
#include <functional>
#include <vector>

#include "yox/platform/registry/Registry.h"

// What is directly below an opened key. The functions return the error numbers of Win32 and may be
// called from any thread.
namespace yox::platform {

// Reads a value of any size.
LSTATUS ReadValue(HKEY key, const WString& name, RegistryValue& value);

// The calls with which the values of a key are enumerated; a test replaces them by failing ones.
struct ValueCalls {
  // RegQueryInfoKeyW: how many values there are, and the longest data in bytes.
  std::function<LSTATUS(DWORD& count, DWORD& longest_data)> query_info;
  // RegEnumValueW
  std::function<LSTATUS(DWORD index, WCHAR* name, DWORD* name_size, DWORD* type, BYTE* data,
                        DWORD* data_size)>
      enumerate;
  // ReadValue
  std::function<LSTATUS(const WString& name, RegistryValue& value)> read;

  static ValueCalls Of(HKEY key);
};

// Calls `visit` with each value. Leaves out values whose names have more than `longest_name` code
// units, and those that cannot be read.
LSTATUS ForEachValue(const ValueCalls& calls, std::size_t longest_name,
                     const std::function<void(WString name, RegistryValue value)>& visit);

// Calls `visit` with the name of each key directly below.
LSTATUS ForEachSubKey(HKEY key, const std::function<void(WString name)>& visit);

}  // namespace yox::platform
