#pragma once

#include <string>
#include <vector>

#include "host/yoxd/Program.h"

namespace yoxd {

// Takes "--name NAME" from the arguments. Returns the name; that of the service if there is none.
std::string TakeServiceName(std::vector<std::string>& arguments);

// Creates the service of this name, which runs this program with these options when the system
// starts, and its source in the event log. Throws std::runtime_error with what failed; what was
// created is then removed again.
void InstallService(const std::string& name, const Options& options);

// Asks the running service to read policy and device again. Throws std::runtime_error with what
// failed.
void ReloadService(const std::string& name);

// Ends the service, if it runs, and removes it and its source in the event log. Throws
// std::runtime_error with what failed.
void RemoveService(const std::string& name);

}  // namespace yoxd
