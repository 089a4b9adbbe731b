#pragma once

#include <cstdint>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/platform/registry/RegistryRoots.h"

namespace YOX {

// The registry of the platform in use, for single keys and values. The static operations are safe
// from any thread; an object belongs to one thread at a time.
//
// An operation that does not name a view uses the process's own. A value is read only as the type
// that it has.
class YOX_API CRegUtil {
 public:
  CRegUtil() = default;
  // Closes every key that the object has opened.
  ~CRegUtil();
  CRegUtil(const CRegUtil&) = delete;
  CRegUtil& operator=(const CRegUtil&) = delete;

  // Opens an existing key; nonzero on success. `access` is a Win32 access mask, which may name a
  // view too. Where `system` is true this is the system's own account, and HKEY_CURRENT_USER is the
  // hive of the user `sid`: with an empty one nobody is logged on, and there is none. The key stays
  // open as long as the object lives.
  int OpenKey(HKEY root, const WString& path, HKEY& key, bool system, const WString& sid,
              std::uint32_t access);

  // Reads a value of any type; 0 on success, else a Win32 error number: 2 when there is no such key
  // or value, 234 when it does not fit. `size` is the buffer's size before and the value's after
  // success; `type` is the value's.
  static long GetKeyValue(HKEY root, const WString& path, const WString& name, bool system,
                          const WString& sid, void* buffer, std::uint32_t& size,
                          std::uint32_t& type, bool only64bit);

  // Nonzero when there is such a key.
  int DoesKeyExistsIn64BitRegView(HKEY root, const WString& path);
  // Nonzero on success, which an existing key is. A `view64` other than 0 means the 64-bit view.
  int CreateKey(HKEY root, const WString& path, int view64);
  // Writes a text; the key has to exist. Nonzero on success.
  int SetKeyValueIn64BitRegView(HKEY root, const WString& path, const WString& name,
                                const WString& text);

  // Nonzero on success; on failure the output stays as it is.
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
