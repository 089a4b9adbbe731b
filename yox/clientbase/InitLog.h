#pragma once

#include "yox/base/Export.h"
#include "yox/base/Log.h"
#include "yox/base/WString.h"

namespace YOX::utility {

// Makes the log write to a file of this name, in the folder "Logs" below the client's state, which
// is created if missing. `verbosity` says what: 1 errors, 2 and 3 warnings too, 4 and more all.
// False when there is no such place or the file cannot be opened; the log then writes where it did
// before.
YOX_API bool InitLog(Log& log, WStringView file_name, int verbosity);

}  // namespace YOX::utility
