#pragma once

#include <string>

#include "yox/base/Export.h"

namespace yox::policy {

// The content of the combined certificate file, which the MQTT client reads.
struct CombinedChain {
  std::string pem;
  bool has_server_chain =
      false;  // the stored chain of the server is usable and therefore part of it
  bool had_private_key = false;  // the stored chain has private keys, which are not part of it
  bool is_clean = false;         // expired and repeated certificates were dropped
};

// Derives the content from the files of the stored and the embedded chain as they are now, by the
// platform's clock. A stored chain that is missing or not a usable PEM file is left out; a missing
// embedded chain too. Each chain is followed by a line break. If a block cannot be parsed, the
// content is not cleaned.
YOX_API CombinedChain ReadCombinedChain();

}  // namespace yox::policy
