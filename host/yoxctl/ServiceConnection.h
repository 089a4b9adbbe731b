#pragma once

#include <string>

namespace yoxctl {

// The name of the socket, on Windows of the pipe, of a service whose state is in the system's
// folder.
const char* DefaultServiceSocket();

// Returns the document that the running service has for a path, such as "/status". `socket` is the
// file of its socket, UTF-8; on Windows its pipe, or the file that has the pipe's name. Throws
// Refusal, with the socket, when the service does not run, may not be reached, or does not reply
// within some seconds.
std::string AskService(const std::string& socket, const std::string& path);

}  // namespace yoxctl
