#pragma once

#include <cstddef>
#include <cstdint>

#include "yox/base/WString.h"

// Device-instance notifications as the Configuration Manager delivers them. Structure, types and
// numbers exist under the same names on every system; on Windows they are those of cfgmgr32.h.
#if defined(_WIN32)

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// Behind windows.h.
#include <cfgmgr32.h>

namespace yox::platform {
using Dword = DWORD;  // the 32-bit number of this interface
}

#else

namespace yox::platform {
using Dword = std::uint32_t;
}

struct HCMNOTIFICATION__;  // NOLINT(bugprone-reserved-identifier): as cfgmgr32.h names it
using HCMNOTIFICATION = HCMNOTIFICATION__*;

enum CM_NOTIFY_FILTER_TYPE {
  CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE,
  CM_NOTIFY_FILTER_TYPE_DEVICEHANDLE,
  CM_NOTIFY_FILTER_TYPE_DEVICEINSTANCE,
  CM_NOTIFY_FILTER_TYPE_MAX
};

enum CM_NOTIFY_ACTION {
  CM_NOTIFY_ACTION_DEVICEINTERFACEARRIVAL,
  CM_NOTIFY_ACTION_DEVICEINTERFACEREMOVAL,
  CM_NOTIFY_ACTION_DEVICEQUERYREMOVE,
  CM_NOTIFY_ACTION_DEVICEQUERYREMOVEFAILED,
  CM_NOTIFY_ACTION_DEVICEREMOVEPENDING,
  CM_NOTIFY_ACTION_DEVICEREMOVECOMPLETE,
  CM_NOTIFY_ACTION_DEVICECUSTOMEVENT,
  CM_NOTIFY_ACTION_DEVICEINSTANCEENUMERATED,
  CM_NOTIFY_ACTION_DEVICEINSTANCESTARTED,
  CM_NOTIFY_ACTION_DEVICEINSTANCEREMOVED,
  CM_NOTIFY_ACTION_MAX
};

// The texts are longer than declared: zero-terminated, up to the end of the event.
struct CM_NOTIFY_EVENT_DATA {
  CM_NOTIFY_FILTER_TYPE FilterType;
  yox::platform::Dword Reserved;
  union {
    struct {
      std::uint32_t ClassGuid[4];
      yox::WChar SymbolicLink[1];
    } DeviceInterface;
    struct {
      std::uint32_t EventGuid[4];
      std::int32_t NameOffset;
      yox::platform::Dword DataSize;
      std::uint8_t Data[1];
    } DeviceHandle;
    struct {
      yox::WChar InstanceId[1];
    } DeviceInstance;
  } u;
};

using PCM_NOTIFY_EVENT_DATA = CM_NOTIFY_EVENT_DATA*;
using PCM_NOTIFY_CALLBACK = yox::platform::Dword (*)(HCMNOTIFICATION notification, void* context,
                                                     CM_NOTIFY_ACTION action,
                                                     PCM_NOTIFY_EVENT_DATA data,
                                                     yox::platform::Dword size);

#endif

static_assert(sizeof(CM_NOTIFY_EVENT_DATA) == 36);
static_assert(offsetof(CM_NOTIFY_EVENT_DATA, u) == 8);
static_assert(CM_NOTIFY_FILTER_TYPE_DEVICEINSTANCE == 2);
static_assert(CM_NOTIFY_ACTION_DEVICEREMOVECOMPLETE == 5);
static_assert(CM_NOTIFY_ACTION_DEVICEINSTANCEENUMERATED == 7);
static_assert(CM_NOTIFY_ACTION_DEVICEINSTANCESTARTED == 8);
static_assert(CM_NOTIFY_ACTION_DEVICEINSTANCEREMOVED == 9);
