#pragma once

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace yox::platform {

// Maps the first page of a file for reading, or zeros where the file is -1: at the address of a
// page that is mapped already, in its place, or at one that the kernel chooses. Threads that read
// the page meanwhile see the former one or the new one. Returns null and sets errno on failure.
//
// May be called in a signal handler. It is the system call itself because ThreadSanitizer takes the
// C library's function for a write to the page.
inline void* MapPage(void* page, int file) {
#ifdef SYS_mmap2  // 32-bit systems
  constexpr long kMmap = SYS_mmap2;
#else
  constexpr long kMmap = SYS_mmap;
#endif
  // Arguments of a system call are as wide as a register.
  const long kind = file < 0 ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED;
  const long place = page == nullptr ? 0 : MAP_FIXED;
  const long mapped = syscall(kMmap, page, 1L, long{PROT_READ}, kind | place, long{file}, 0L);
  return mapped == -1 ? nullptr : reinterpret_cast<void*>(mapped);
}

}  // namespace yox::platform
