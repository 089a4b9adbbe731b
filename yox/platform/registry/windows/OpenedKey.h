#pragma once

#include <windows.h>

#include <utility>

#include "yox/platform/registry/Registry.h"

namespace yox::platform {

// Owns an opened key and closes it at its end. One thread at a time.
class OpenedKey {
 public:
  OpenedKey() = default;
  OpenedKey(OpenedKey&& other) noexcept : key_(std::exchange(other.key_, nullptr)) {}
  OpenedKey& operator=(OpenedKey&& other) noexcept {
    std::swap(key_, other.key_);
    return *this;
  }
  ~OpenedKey() {
    if (key_ != nullptr) RegCloseKey(key_);
  }

  HKEY get() const { return key_; }
  HKEY* out() { return &key_; }  // for the functions that open a key
  HKEY release() { return std::exchange(key_, nullptr); }

 private:
  HKEY key_ = nullptr;
};

// Opens an existing key; returns an error number of Win32. From any thread.
LSTATUS OpenKey(const RegistryKey& key, REGSAM access, OpenedKey& opened);

}  // namespace yox::platform
