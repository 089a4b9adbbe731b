#pragma once

#include "yox/platform/files/linux/PrivateFolder.h"

// A ballast file: it takes up room on the disk, so that on a full one there is room to write
// deletions, which SQLite writes to its log like all else.
namespace yox::platform {

// Takes the room, unless it is taken already. Returns false, and leaves the file empty, when the
// disk is full.
bool FillDiskReserve(const PrivateFolder& folder);
// Gives the room back to the disk. Returns whether there was any.
bool ReleaseDiskReserve(const PrivateFolder& folder);

}  // namespace yox::platform
