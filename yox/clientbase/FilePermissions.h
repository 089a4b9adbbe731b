#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX::utility {

// Sets who may open a file. `grants` has the form of icacls arguments (see AccessGrants.h); with
// `replace` they take the place of all that stood before, else they add to it. False when the text
// is malformed or the system refuses; the file is then as before.
YOX_API bool ApplyFilePermissions(WString path, WString grants, bool replace);

}  // namespace YOX::utility
