#pragma once

#include <span>

#include "host/yoxd/Part.h"

namespace yoxd {

// Waits until one of the parts has something to do, and lets each take its turn.
void TakeTurns(std::span<Part* const> parts);

}  // namespace yoxd
