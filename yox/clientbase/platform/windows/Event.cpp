#include "yox/clientbase/platform/Event.h"

#include "yox/clientbase/platform/windows/LastError.h"

namespace YOX::platform {

Event::Event(bool set)
    : handle_(OrThrow(CreateEventW(nullptr, TRUE, set, nullptr), "CreateEvent")) {}

Event::~Event() { CloseHandle(handle_.native()); }

}  // namespace YOX::platform
