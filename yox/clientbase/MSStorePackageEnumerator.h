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
  // Returns the singleton, never null. It lives until the process ends.
  static MSStorePackageEnumerator* GetInstance();

  // Sets the log for failures, which must live until the process ends.
  void Initialize(Log& log) { log_ = &log; }

  // Returns the version of each application by its name, read at every call. Empty if they cannot
  // be read.
  std::map<WString, WString> GetAllMSStoreAppsDetails();

 private:
  MSStorePackageEnumerator() = default;

  std::atomic<Log*> log_{&g_log};
};

}  // namespace YOX
