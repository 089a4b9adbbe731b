#pragma once

#include <cstdint>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/platform/registry/RegistryRoots.h"

namespace YOX {

// Access to single keys and values of the registry of the platform in use. The static functions may
// be called from any thread; an object belongs to one thread at a time.
//
// A function whose name has no view uses that of the process. Strings are UTF-16. A value of
// another type than the function reads is a failure.
class YOX_API CRegUtil {
 public:
  CRegUtil() = default;
  // Closes every key that the object has opened.
  ~CRegUtil();
  CRegUtil(const CRegUtil&) = delete;
  CRegUtil& operator=(const CRegUtil&) = delete;

  // Opens an existing key, which stays open as long as the object lives; returns nonzero on
  // success. `access` is a Win32 access mask, which may have one of the flags for a view. `system`
  // says that this process runs as the system's own account: HKEY_CURRENT_USER is then the hive of
  // the user `sid`, and the call fails if `sid` is empty because no user is logged on.
  int OpenKey(HKEY root, const WString& path, HKEY& key, bool system, const WString& sid,
              std::uint32_t access);

  // Reads the bytes of a value of any type. Returns 0 on success, otherwise an error number of
  // Win32: 2 when there is no such key or value, or it cannot be read; 234 when the value is longer
  // than the buffer. `size` is the size of the buffer, and after success that of the value; `type`
  // and the buffer are written on success only. `system` and `sid` as above.
  static long GetKeyValue(HKEY root, const WString& path, const WString& name, bool system,
                          const WString& sid, void* buffer, std::uint32_t& size,
                          std::uint32_t& type, bool only64bit);

  // Returns nonzero when the key exists in the 64-bit view.
  int DoesKeyExistsIn64BitRegView(HKEY root, const WString& path);
  // Creates the key and every missing key above it; an existing key is success. Returns nonzero on
  // success. `view64` other than 0 selects the 64-bit view.
  int CreateKey(HKEY root, const WString& path, int view64);
  // Writes a string (REG_SZ) into an existing key; returns nonzero on success.
  int SetKeyValueIn64BitRegView(HKEY root, const WString& path, const WString& name,
                                const WString& text);

  // Read a string (REG_SZ) up to its first terminator, or a number (REG_DWORD). Return nonzero on
  // success; the output is written on success only.
  static int GetRegValueOfStringType(HKEY root, const WString& path, const WString& name,
                                     WString& text);
  static int GetRegValueOfStringTypeIn64BitView(HKEY root, const WString& path, const WString& name,
                                                WString& text);
  static int GetRegValueOfDwordType(HKEY root, const WString& path, const WString& name,
                                    std::uint32_t& number);

 private:
  std::vector<HKEY> opened_;
};

}  // namespace YOX
