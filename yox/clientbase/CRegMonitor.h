#pragma once

#include <cstdint>
#include <memory>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/platform/registry/RegistryRoots.h"

namespace YOX {

// Waits for changes below several keys at once. One thread sets up and waits; `Stop` may come from
// any thread at any time.
class YOX_API CRegMonitor {
 public:
  static constexpr std::uint32_t kFailed = 0xFFFFFFFF;

  CRegMonitor();
  ~CRegMonitor();
  CRegMonitor(const CRegMonitor&) = delete;
  CRegMonitor& operator=(const CRegMonitor&) = delete;

  // Before the first key is added. False when watching is not possible.
  bool Init();

  // Watches of the keys that are added later use the 64-bit view (true) or the process's own.
  void SetUseOnly64BitRegistry(bool only64bit);

  // The watch's identifier, or kFailed: no such key, not initialised. Changes count from the return
  // on. An empty value name means every value; `subtree` other than 0 everything below the key too.
  std::uint32_t AddMonitorKey(HKEY root, const WString& path, const WString& valueName,
                              int subtree);

  // True with the identifier of a watch whose key has changed since it was last given; changes
  // close in time may count once. False when the monitor was stopped, also before the wait, or has
  // no watch. With `wait` 0 false when nothing has changed yet.
  bool WaitForChange(std::uint32_t& identifier, int wait);

  // Ends this wait and all later ones.
  void Stop();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace YOX
