#include "yox/platform/files/linux/MappedNumber.h"

#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>

#include "yox/platform/files/linux/MapPage.h"

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

void MappedNumber::Map(int file) {
  const bool may_map = IsCoherent(file) && BusErrors::IsHandlerInPlace();
  Number* number = number_;
  if (number == nullptr) {
    void* const page = may_map ? MapPage(nullptr, -1) : nullptr;
    if (page == nullptr) return;
    if (!BusErrors::AddPage(page)) {
      munmap(page, sizeof(Number));
      return;
    }
    number = static_cast<Number*>(page);
  }
  if (!may_map || MapPage(number, file) == nullptr) MapPage(number, -1);
  number_ = number;
}

MappedNumber::~MappedNumber() {
  Number* const number = number_;
  if (number == nullptr) return;
  BusErrors::RemovePage(number);
  munmap(number, sizeof(Number));
}

}  // namespace yox::platform
