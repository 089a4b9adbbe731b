#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/platform/registry/RegistryRoots.h"

namespace yox::platform {

// The types of values, by their Win32 numbers. Any other number is stored and given back too.
enum class RegistryType : std::uint32_t {
  kNone = 0,
  kText = 1,            // REG_SZ: UTF-16LE with a terminator
  kExpandableText = 2,  // REG_EXPAND_SZ
  kBinary = 3,
  kDword = 4,  // little endian
  kDwordBigEndian = 5,
  kLink = 6,
  kMultiText = 7,  // REG_MULTI_SZ: texts with a terminator each, and one more
  kQword = 11,
};

// A value is a type and bytes; nothing checks that the two fit.
struct YOX_API RegistryValue {
  RegistryType type = RegistryType::kNone;
  std::vector<std::uint8_t> data;

  static RegistryValue Text(WStringView text);  // terminator added
  static RegistryValue ExpandableText(WStringView text);
  static RegistryValue MultiText(std::span<const WString> texts);
  static RegistryValue Dword(std::uint32_t number);
  static RegistryValue Qword(std::uint64_t number);
  static RegistryValue Binary(std::vector<std::uint8_t> bytes);

  // The bytes as text, whatever the type: up to the first terminator, or to the end without it; an
  // odd byte at the end does not count.
  WString FirstText() const;
  // The bytes as texts, up to the first empty one.
  std::vector<WString> Texts() const;
  // Nothing unless the type and the size are those of such a number.
  std::optional<std::uint32_t> AsDword() const;
  std::optional<std::uint64_t> AsQword() const;

  friend bool operator==(const RegistryValue&, const RegistryValue&) = default;
};

struct RegistryEntry {
  WString name;  // empty: the key's default value
  RegistryValue value;

  friend bool operator==(const RegistryEntry&, const RegistryEntry&) = default;
};

// Which half of the registry a 64-bit Windows shows: the 32-bit view has
// HKEY_LOCAL_MACHINE\SOFTWARE\WOW6432Node in the place of HKEY_LOCAL_MACHINE\SOFTWARE, but for
// SOFTWARE\Policies, which both share.
enum class RegistryView {
  kDefault,  // the process's own; outside Windows the 64-bit one
  k64Bit,
  k32Bit,
};

// Where a key is. Names are separated by "\"; one separator at the end is ignored, an empty name
// elsewhere is invalid; an empty path is the root itself. Letter case does not matter.
struct RegistryKey {
  HKEY root = nullptr;  // one of the three roots, or a handle that `Registry::Open` gave
  WString path;
  RegistryView view = RegistryView::kDefault;
  WString user;  // a security identifier: HKEY_CURRENT_USER is then that user's, not the process's
};

inline constexpr std::size_t kLongestRegistryKeyName = 255;      // of one key of a path
inline constexpr std::size_t kLongestRegistryValueName = 16383;  // code units

enum class RegistryStatus {
  kOk,
  kNotFound,  // no such key or value
  kDenied,    // this process may not
  kInvalid,   // no such root or handle, a malformed path, a name too long, a root deleted
  kFailed,    // the store could not do it: the log says why
};

enum class RegistryAction { kCreateKey, kDeleteKey, kSetValue, kDeleteValue };

struct RegistryEdit {
  RegistryAction action = RegistryAction::kCreateKey;
  RegistryKey key;
  WString name;           // of the value
  RegistryValue value;    // for kSetValue
  bool if_there = false;  // deleting what is not there is no failure
};

// What became of a watched key or something below it.
struct RegistryChange {
  RegistryAction action = RegistryAction::kCreateKey;
  WString key;        // below the watched key, empty for itself; as the key was written
  WString name;       // of the value
  bool lost = false;  // too much changed to be named: anything below the watched key may have

  friend bool operator==(const RegistryChange&, const RegistryChange&) = default;
};

// Ends the watch when destroyed: the callback is then not running, and will not.
class YOX_API RegistryWatch {
 public:
  virtual ~RegistryWatch() = default;
};

// The registry of this device. All operations are safe from any thread, and what one process writes
// all others see.
class YOX_API Registry {
 public:
  using Changed = std::function<void(const std::vector<RegistryChange>&)>;

  // Win32's access masks; only whether one asks to write counts outside Windows.
  static constexpr std::uint32_t kRead = 0x20019;
  static constexpr std::uint32_t kFullAccess = 0xF003F;

  virtual ~Registry() = default;

  // Opens an existing key; `opened` is written on success only and has to be closed. Asking to
  // write fails with kDenied where this process cannot.
  virtual RegistryStatus Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) = 0;
  virtual void Close(HKEY opened) = 0;

  // Outputs are written on success only.
  virtual RegistryStatus Get(const RegistryKey& key, WStringView name, RegistryValue& value) = 0;
  // The values whose names have at most `longest_name` code units; others are left out.
  virtual RegistryStatus Values(const RegistryKey& key, std::vector<RegistryEntry>& values,
                                std::size_t longest_name = kLongestRegistryValueName) = 0;
  // The names of the keys directly below, as they were written.
  virtual RegistryStatus SubKeys(const RegistryKey& key, std::vector<WString>& names) = 0;

  // Does the edits in order and stops at the first that fails. Outside Windows nothing is changed
  // then, and nobody sees a part of them.
  virtual RegistryStatus Apply(std::span<const RegistryEdit> edits) = 0;

  // Reports what changes in the key and everything below it, from the moment of return on. Changes
  // close in time may come in one report, and a value changed twice may be named once; a write of
  // what already stands is not reported. Of keys deleted with all below them only the topmost is
  // named for certain; Windows, which deletes from below, may name others before it. Deletion of
  // the watched key is the last thing reported for certain. `changed` runs on a thread of the
  // registry's choice (outside Windows that of the change, or one of its own), one call at a time,
  // and must not destroy its own watch. kNotFound when there is no such key.
  virtual RegistryStatus Watch(const RegistryKey& key, Changed changed,
                               std::unique_ptr<RegistryWatch>& watch) = 0;

  bool Exists(const RegistryKey& key);
  // With every missing key on its way; an existing key is success.
  RegistryStatus CreateKey(const RegistryKey& key);
  // With everything below it.
  RegistryStatus DeleteKey(const RegistryKey& key);
  // The key has to exist.
  RegistryStatus SetValue(const RegistryKey& key, const WString& name, RegistryValue value);
  RegistryStatus DeleteValue(const RegistryKey& key, const WString& name);
};

}  // namespace yox::platform
