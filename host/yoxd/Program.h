#pragma once

#include <string>
#include <vector>

#include "host/yoxd/Device.h"
#include "host/yoxd/HostSystem.h"

namespace yoxd {

// What the command line asks for.
struct Options {
  DeviceChoice device;
  std::string configuration;  // empty: the default file, if it is there
  bool check = false;
  bool verbose = false;
};

// Reads the arguments, without the program's name, in UTF-8. For --help and --version, prints and
// returns false. Throws std::runtime_error for a mistake. `footer` ends the help.
bool ReadOptions(std::vector<std::string> arguments, const std::string& footer, Options& options);

// Runs the service until the system ends it, or only checks its files. Returns the exit code; what
// is wrong is in the journal.
int RunProgram(const Options& options, Supervision& supervision);

}  // namespace yoxd
