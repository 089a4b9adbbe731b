#pragma once

#include "yox/base/Export.h"
#include "yox/base/Log.h"
#include "yox/base/WString.h"

namespace YOX::utility {

// Lets the log write to a file of this name in the folder "Logs" of the client's state, which is
// created if it is missing. Only this account may read folder and file. `verbosity` says what is
// written: 1 errors, 2 and 3 also warnings, 4 and more everything. Returns false, and changes
// nothing, if the client has no folder for its state or the file cannot be opened.
YOX_API bool InitLog(Log& log, WStringView file_name, int verbosity);

}  // namespace YOX::utility
