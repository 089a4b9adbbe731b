#pragma once

#include <string>

#include "host/yoxd/Received.h"

namespace yoxd_test {

// A message as the broker delivers it.
inline yoxd::Received Message(int identifier, const std::string& payload) {
  return {"topic", payload, false, identifier};
}

}  // namespace yoxd_test
