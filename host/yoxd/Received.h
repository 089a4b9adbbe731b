#pragma once

#include <cstdint>
#include <string>

namespace yoxd {

// A message of the broker's.
struct Received {
  std::string topic;
  std::string payload;
  bool retained = false;  // kept by the broker, from before the subscription
  int identifier = 0;     // of its packet; 0 for QoS 0
};

}  // namespace yoxd
