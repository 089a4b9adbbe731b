#pragma once

#include <atomic>
#include <cstdint>

#include "yox/platform/files/linux/BusErrors.h"

namespace yox::platform {

// The first eight bytes of a file as shared memory: reading the number that another process has
// written costs one load. Safe from any thread.
//
// Only for files on a local file system whose mappings always show what was written, which some
// others do not: a mapping of a file of a container's image (overlayfs) keeps the content that the
// file had before its first change, and a mapping on a network shows changes late. At most 64 exist
// at a time, together with other pages of BusErrors.
class MappedNumber {
 public:
  // Maps no file.
  MappedNumber() = default;
  // Maps an open file, which may be closed afterwards. Load returns 0 if the file cannot be mapped.
  explicit MappedNumber(int file);
  ~MappedNumber();
  MappedNumber(const MappedNumber&) = delete;
  MappedNumber& operator=(const MappedNumber&) = delete;

  // Returns the number, in this processor's byte order. Bytes beyond the end of the file are 0;
  // once the file has been read while it was empty, the number may be 0 for ever. Also returns 0 on
  // a thread that cannot survive that, see BusErrors; a thread must not block SIGBUS later.
  //
  // What this thread has read before the call was read before the number.
  std::uint64_t Load() const {
    if (number_ == nullptr || !BusErrors::AreHandled()) return 0;
    std::atomic_thread_fence(std::memory_order_acquire);
    return number_->load(std::memory_order_acquire);
  }

 private:
  using Number = std::atomic<std::uint64_t>;
  static_assert(Number::is_always_lock_free && sizeof(Number) == 8);

  Number* number_ = nullptr;  // at the beginning of a page
};

}  // namespace yox::platform
