#include "yox/platform/files/linux/MappedNumber.h"

#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>

namespace yox::platform {
namespace {

// By the numbers of statfs(2), where linux/magic.h does not have them.
constexpr std::uint32_t kBcachefs = 0xCA451A4E;
constexpr std::uint32_t kZfs = 0x2FC12FC1;

// File systems on which a mapping shows at once what any process of this machine has written to the
// file. The first is ext2 and ext3, too.
constexpr std::array<std::uint32_t, 7> kCoherent = {EXT4_SUPER_MAGIC,
                                                    XFS_SUPER_MAGIC,
                                                    BTRFS_SUPER_MAGIC,
                                                    TMPFS_MAGIC,
                                                    F2FS_SUPER_MAGIC,
                                                    kBcachefs,
                                                    kZfs};

bool IsCoherent(int file) {
  struct statfs system {};
  return fstatfs(file, &system) == 0 &&
         std::ranges::count(kCoherent, static_cast<std::uint32_t>(system.f_type)) != 0;
}

}  // namespace

MappedNumber::MappedNumber(int file) {
  if (!IsCoherent(file)) return;
  void* const page = mmap(nullptr, sizeof(Number), PROT_READ, MAP_SHARED, file, 0);
  if (page == MAP_FAILED) return;
  if (BusErrors::AddPage(page)) {
    number_ = static_cast<Number*>(page);
  } else {
    munmap(page, sizeof(Number));
  }
}

MappedNumber::~MappedNumber() {
  if (number_ == nullptr) return;
  BusErrors::RemovePage(number_);
  munmap(number_, sizeof(Number));
}

}  // namespace yox::platform
