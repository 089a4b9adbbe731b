#pragma once

#include <atomic>
#include <map>

#include "yox/base/Export.h"
#include "yox/base/Log.h"
#include "yox/base/WString.h"

namespace YOX {

// The store applications of the device. Safe from any thread.
class YOX_API MSStorePackageEnumerator {
 public:
  // Never null; lives until the process ends.
  static MSStorePackageEnumerator* GetInstance();

  // Names the log that is told of failures, which must live as long as the process.
  void Initialize(Log& log) { log_ = &log; }

  // Name to version, asked afresh; none when the device cannot be asked.
  std::map<WString, WString> GetAllMSStoreAppsDetails();

 private:
  MSStorePackageEnumerator() = default;

  std::atomic<Log*> log_{&g_log};
};

}  // namespace YOX
