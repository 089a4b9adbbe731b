#pragma once

#include <string>

namespace yoxctl {

// Returns the document that the running service has for a path, such as "/status". `socket` is the
// file of its socket, UTF-8. Throws Refusal, with the socket, when the service does not run, may
// not be reached, or does not reply within some seconds.
std::string AskService(const std::string& socket, const std::string& path);

}  // namespace yoxctl
