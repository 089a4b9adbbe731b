#pragma once

#include <atomic>
#include <cstdint>

#include "yox/platform/files/linux/BusErrors.h"

namespace yox::platform {

// The first eight bytes of a file as shared memory: reading the number that another process has
// written costs one load.
//
// Only for files on a local file system whose mappings always show what was written, which some
// others do not: a mapping of a file of a container's image (overlayfs) keeps the content that the
// file had before its first change, and a mapping on a network shows changes late. At most 64 exist
// at a time, together with other pages of BusErrors.
class MappedNumber {
 public:
  // Maps no file: Load returns 0.
  MappedNumber() = default;
  explicit MappedNumber(int file) { Map(file); }
  ~MappedNumber();
  MappedNumber(const MappedNumber&) = delete;
  MappedNumber& operator=(const MappedNumber&) = delete;

  // Maps an open file, which may be closed afterwards, in place of the former one. Load returns 0
  // if the file cannot be mapped. For one thread at a time, while others may load.
  void Map(int file);

  // Returns the number, in this processor's byte order. Bytes beyond the end of the file are 0;
  // once the file was read while it was empty, the number is 0 until Map is called. Also returns 0
  // on a thread that cannot survive that, see BusErrors; a thread must not block SIGBUS later.
  //
  // What this thread has read before the call was read before the number. Safe from any thread.
  std::uint64_t Load() const {
    const Number* const number = number_.load(std::memory_order_acquire);
    if (number == nullptr || !BusErrors::AreHandled()) return 0;
    std::atomic_thread_fence(std::memory_order_acquire);
    return number->load(std::memory_order_acquire);
  }

 private:
  using Number = std::atomic<std::uint64_t>;
  static_assert(Number::is_always_lock_free && sizeof(Number) == 8);

  // At the beginning of a page, which is the same to the end, whatever is mapped to it: a thread
  // that loads needs no lease. Null until the first file.
  std::atomic<Number*> number_{nullptr};
};

}  // namespace yox::platform
