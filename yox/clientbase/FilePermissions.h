#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX::utility {

// Sets which accounts may open a file. `grants` has the form of icacls arguments (see
// platform/users/AccessGrants.h); `replace` is that of Files::Grant. Returns false if the text is
// malformed or the system refuses; the file is then as before. May be called from any thread.
YOX_API bool ApplyFilePermissions(WString path, WString grants, bool replace);

}  // namespace YOX::utility
