#pragma once

#include <exception>

#include "yox/base/Log.h"

namespace yox::policy {

// Calls `work`, and logs an exception that it throws as one of `function`; without a log it is
// dropped.
template <class Work>
void LogExceptions(YOX::Log* log, const char* function, Work work) {
  try {
    work();
  } catch (const std::exception& exception) {
    if (log != nullptr) log->e("%s, Exception: %s", function, exception.what());
  }
}

}  // namespace yox::policy
