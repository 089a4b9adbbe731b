#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"
#include "yox/platform/registry/RegistryRoots.h"

namespace yox::platform {

// The types of values, by their Win32 numbers. Other numbers are stored and returned as well.
enum class RegistryType : std::uint32_t {
  kNone = 0,
  kText = 1,            // REG_SZ: UTF-16LE with a terminator
  kExpandableText = 2,  // REG_EXPAND_SZ
  kBinary = 3,
  kDword = 4,  // little endian
  kDwordBigEndian = 5,
  kLink = 6,
  kMultiText = 7,  // REG_MULTI_SZ: strings with a terminator each, and one more at the end
  kQword = 11,
};

// A value: a type and bytes, which need not match the type.
struct YOX_API RegistryValue {
  RegistryType type = RegistryType::kNone;
  std::vector<std::uint8_t> data;

  // Return a value of the type that is named, in the byte order of registries, little-endian. Texts
  // are UTF-16 and get their terminators.
  static RegistryValue Text(WStringView text);  // adds the terminator
  static RegistryValue ExpandableText(WStringView text);
  static RegistryValue MultiText(std::span<const WString> texts);
  static RegistryValue Dword(std::uint32_t number);
  static RegistryValue Qword(std::uint64_t number);
  static RegistryValue Binary(std::vector<std::uint8_t> bytes);

  // Returns the bytes as UTF-16LE, whatever the type, up to the first terminator or, without one,
  // to the end. An odd byte at the end is ignored.
  WString FirstText() const;
  // Returns the bytes as a list of such strings, up to the first empty one.
  std::vector<WString> Texts() const;
  // Return std::nullopt unless type and size are those of the number.
  std::optional<std::uint32_t> AsDword() const;
  std::optional<std::uint64_t> AsQword() const;

  friend bool operator==(const RegistryValue&, const RegistryValue&) = default;
};

// A value of a key, with its name.
struct RegistryEntry {
  WString name;  // empty: the key's default value
  RegistryValue value;

  friend bool operator==(const RegistryEntry&, const RegistryEntry&) = default;
};

// Which view of the registry of a 64-bit Windows a path refers to. The 32-bit view has
// HKEY_LOCAL_MACHINE\SOFTWARE\WOW6432Node in the place of HKEY_LOCAL_MACHINE\SOFTWARE, except for
// SOFTWARE\Policies, which both views share.
enum class RegistryView {
  kDefault,  // that of the process; outside Windows the 64-bit one
  k64Bit,
  k32Bit,
};

// The place of a key. Names are separated by "\"; one separator at the end is ignored, an empty
// name elsewhere is invalid; an empty path is the root itself. Letter case does not matter.
struct RegistryKey {
  HKEY root = nullptr;  // one of the three roots, or a handle from `Registry::Open`
  WString path;
  RegistryView view = RegistryView::kDefault;
  WString user;  // a security identifier: HKEY_CURRENT_USER means the hive of this user
};

inline constexpr std::size_t kLongestRegistryKeyName = 255;      // of one key of a path
inline constexpr std::size_t kLongestRegistryValueName = 16383;  // code units

enum class RegistryStatus {
  kOk,
  kNotFound,  // there is no such key or value
  kDenied,    // this process has no permission
  kInvalid,   // no such root or handle, a malformed path, a name too long, deletion of a root
  kFailed,    // the registry cannot be read or written; the log and OnFailure say why
};

enum class RegistryAction { kCreateKey, kDeleteKey, kSetValue, kDeleteValue };

// One change to a registry, for Apply.
struct RegistryEdit {
  RegistryAction action = RegistryAction::kCreateKey;
  RegistryKey key;
  WString name;           // of the value
  RegistryValue value;    // for kSetValue
  bool if_there = false;  // deleting a missing key or value succeeds
};

// A change of a watched key or of something below it.
struct RegistryChange {
  RegistryAction action = RegistryAction::kCreateKey;
  WString key;  // relative to the watched key, empty for itself; in the letter case of its creation
  WString name;       // of the value
  bool lost = false;  // too many changes to list: anything below the watched key may have changed

  friend bool operator==(const RegistryChange&, const RegistryChange&) = default;
};

// A registration with `Registry::Watch`. The destructor waits for a callback that is running; after
// it none is called.
class YOX_API RegistryWatch {
 public:
  virtual ~RegistryWatch() = default;
};

// Says whether keys have changed, for a caller that keeps what it computed from their values. May
// be used from any thread; after the end of its registry it may only be destroyed.
class YOX_API RegistryTracker {
 public:
  virtual ~RegistryTracker() = default;

  // Returns a number that differs from every earlier one of this object once a tracked key or one
  // of its values has changed, was created or was deleted, by whichever process; perhaps also after
  // changes elsewhere. Values that were read between two calls that returned the same number are
  // those that the registry has at the second call. Costs a few loads on a simulated device and, on
  // a local file system, on Linux; a system call elsewhere.
  //
  // Returns 0 when it cannot say, for example during a change. (Not an optional: one that a call
  // returns costs as much as the rest.)
  virtual std::uint64_t Generation() = 0;
};

// The registry of this device. All operations may be called from any thread, and see what other
// processes have written.
class YOX_API Registry {
 public:
  using Changed = std::function<void(const std::vector<RegistryChange>&)>;

  // Win32's access masks. Outside Windows only the rights to write are looked at.
  static constexpr std::uint32_t kRead = 0x20019;
  static constexpr std::uint32_t kFullAccess = 0xF003F;

  Registry() = default;
  virtual ~Registry() = default;
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  // Opens an existing key; the caller closes it. `opened` is written on success only. Returns
  // kDenied when the access mask has rights that this process does not have.
  virtual RegistryStatus Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) = 0;
  virtual void Close(HKEY opened) = 0;

  // These three write their output on success only. `Values` leaves out values whose names have
  // more than `longest_name` code units, and on Windows single values that cannot be read.
  // `SubKeys` returns the names of the keys directly below, in the letter case of their creation.
  virtual RegistryStatus Get(const RegistryKey& key, WStringView name, RegistryValue& value) = 0;
  virtual RegistryStatus Values(const RegistryKey& key, std::vector<RegistryEntry>& values,
                                std::size_t longest_name = kLongestRegistryValueName) = 0;
  virtual RegistryStatus SubKeys(const RegistryKey& key, std::vector<WString>& names) = 0;

  // Applies the edits in their order and stops at the first that fails. Outside Windows they are
  // atomic: a failure changes nothing, and no reader sees some of them only.
  virtual RegistryStatus Apply(std::span<const RegistryEdit> edits) = 0;

  // Calls `changed` with the changes of the key and everything below it that are made after the
  // return. Returns kNotFound when there is no such key.
  //
  // One call may list several changes, and lists a value that changed twice once or twice; writing
  // an equal value is no change. When a key is deleted with everything below it, the topmost key is
  // listed, and on Windows perhaps others before it. After the deletion of the watched key nothing
  // more need be reported.
  //
  // `changed` is called by one thread at a time: on Windows and Linux a thread of the registry, in
  // a simulated device the one that makes the change. It must not throw or destroy its own watch.
  virtual RegistryStatus Watch(const RegistryKey& key, Changed changed,
                               std::unique_ptr<RegistryWatch>& watch) = 0;

  // Tracks keys, which need not exist, below the roots. Never returns null; the tracker's numbers
  // may always be 0.
  virtual std::unique_ptr<RegistryTracker> Track(std::span<const RegistryKey> keys);

  // Returns whether the key exists and can be opened for reading.
  bool Exists(const RegistryKey& key);
  // Creates the key and every missing key above it; an existing key is success.
  RegistryStatus CreateKey(const RegistryKey& key);
  // Deletes the key and everything below it.
  RegistryStatus DeleteKey(const RegistryKey& key);
  // Sets a value of an existing key.
  RegistryStatus SetValue(const RegistryKey& key, const WString& name, RegistryValue value);
  RegistryStatus DeleteValue(const RegistryKey& key, const WString& name);

  // Calls `failed` from now on whenever the registry as a whole cannot be read, written or watched,
  // as opposed to a key that is missing or closed to this process. The text is one line in UTF-8
  // with the file, where there is one, and the reason; the log has the same text. One call at a
  // time, on any thread that uses the registry; `failed` must not use the registry itself. An empty
  // function ends the calls and waits for one that is running.
  void OnFailure(std::function<void(std::string_view text)> failed);

 protected:
  // Logs the failure of an operation and hands it to OnFailure's function.
  void ReportFailure(const char* operation, std::string_view text);

 private:
  yox::Mutex failure_mutex_;
  std::function<void(std::string_view)> failed_ YOX_GUARDED_BY(failure_mutex_);
};

}  // namespace yox::platform
