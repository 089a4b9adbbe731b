#pragma once

#include "yox/base/String.h"
#include "yox/base/WString.h"

namespace yox::decision {

// Trims the caller's text through the constant reference, on purpose. Writes only where there is
// something to trim, so that threads can share a text that is trimmed already.
inline void TrimInPlace(const WString& text) {
  const WStringView trimmed = String::Trimmed(text);
  if (trimmed.size() != text.size()) const_cast<WString&>(text) = WString(trimmed);
}

}  // namespace yox::decision
