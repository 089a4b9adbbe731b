#pragma once

#include <string>

namespace yoxd {

// From now on the journal goes to the system's event log, under this source's name, and no longer
// to standard error. Call before other threads run.
void UseEventLog(const std::wstring& source);

}  // namespace yoxd
