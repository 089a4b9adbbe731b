#include "yox/platform/waits/Event.h"

#include "yox/platform/system/windows/LastError.h"

namespace yox::platform {

Event::Event(bool set)
    : handle_(OrThrow(CreateEventW(nullptr, TRUE, set, nullptr), "CreateEvent")) {}

Event::~Event() { CloseHandle(handle_.native()); }

}  // namespace yox::platform
