#pragma once

#include <cstdint>

// The registry's roots and the type of key handles, under the same names on every system. A handle
// is opaque: it is only compared and passed to functions. On Windows the type and the roots are
// those of windows.h, which may be included before or after this header.
struct HKEY__;  // NOLINT(bugprone-reserved-identifier): as windows.h names it
using HKEY = HKEY__*;

#ifndef HKEY_LOCAL_MACHINE
// NOLINTBEGIN(performance-no-int-to-ptr): numbers, as in windows.h
inline const HKEY HKEY_CURRENT_USER =
    reinterpret_cast<HKEY>(std::intptr_t{static_cast<std::int32_t>(0x80000001)});
inline const HKEY HKEY_LOCAL_MACHINE =
    reinterpret_cast<HKEY>(std::intptr_t{static_cast<std::int32_t>(0x80000002)});
inline const HKEY HKEY_USERS =
    reinterpret_cast<HKEY>(std::intptr_t{static_cast<std::int32_t>(0x80000003)});
// NOLINTEND(performance-no-int-to-ptr)
#endif
