#pragma once

#include <cstdint>
#include <memory>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/platform/registry/RegistryRoots.h"

namespace YOX {

// Waits for changes of several registry keys at once. One thread adds keys and waits; `Stop` may be
// called from any thread at any time.
class YOX_API CRegMonitor {
 public:
  static constexpr std::uint32_t kFailed = 0xFFFFFFFF;

  CRegMonitor();
  // Ends the watches; must not run while a thread waits.
  ~CRegMonitor();
  CRegMonitor(const CRegMonitor&) = delete;
  CRegMonitor& operator=(const CRegMonitor&) = delete;

  // Must be called before the first key is added. Returns false if keys cannot be watched.
  bool Init();

  // Sets whether keys that are added after this call are those of the 64-bit view, or of the
  // process's own view.
  void SetUseOnly64BitRegistry(bool only64bit);

  // Watches a key and, unless `subtree` is 0, everything below it, from the return on. With a value
  // name only this value counts, in any of these keys. Returns the identifier of the watch, kFailed
  // if there is no such key, if it cannot be watched, or if `Init` was not called.
  std::uint32_t AddMonitorKey(HKEY root, const WString& path, const WString& valueName,
                              int subtree);

  // Blocks until a watched key changes; returns true and the identifier of its watch. Several
  // changes before the call count once. Returns false when the monitor is stopped, before or during
  // the wait, or watches nothing. With `wait` 0 it does not block, and returns false when nothing
  // has changed.
  bool WaitForChange(std::uint32_t& identifier, int wait);

  // Makes this wait and all later ones return false.
  void Stop();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace YOX
