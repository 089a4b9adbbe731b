#pragma once

#include <windows.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "yox/base/WString.h"

// Accounts as Windows' access tokens and security identifiers describe them.
namespace yox::platform {

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

// For memory that Win32 returns and LocalFree releases.
struct LocalFreer {
  void operator()(void* memory) const { LocalFree(memory); }
};
using LocalMemory = std::unique_ptr<void, LocalFreer>;

// This process's token, opened for queries; null if that fails.
Handle OwnToken();

// The structure that belongs to `what`, with everything it points to; empty if it cannot be read.
std::vector<std::byte> TokenFacts(HANDLE token, TOKEN_INFORMATION_CLASS what);

// "S-1-5-18"; empty if the identifier is not valid.
WString SidText(PSID sid);
// The account of a token.
WString SidOfToken(HANDLE token);

// Whether this process has an administrator's full rights.
bool IsElevated();

}  // namespace yox::platform
