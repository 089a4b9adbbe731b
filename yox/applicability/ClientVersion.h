#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"

namespace yox::applicability {

// The version of the client for the decisions of the running service: read from YoxInfo, and then
// kept until YoxInfo may return another one. Safe from any thread.
class ClientVersion {
 public:
  // Returns the version. A decision may trim the text: one with white space around it is copied
  // into `own`. Valid while this object and `own` live.
  const WString& Get(WString& own);

 private:
  static constexpr std::uint64_t kNone = UINT64_MAX;

  struct Kept {
    WString text;
    std::atomic<std::uint64_t> generation = kNone;  // of YoxInfo
  };

  const WString& Read(WString& own);

  std::atomic<const Kept*> current_{nullptr};
  Mutex mutex_;
  // Different texts. Never freed, so that a decision needs no lock: versions are few.
  std::vector<std::unique_ptr<Kept>> all_ YOX_GUARDED_BY(mutex_);
};

}  // namespace yox::applicability
