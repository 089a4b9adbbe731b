#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "yox/base/Export.h"
#include "yox/decision/FactsRecord.h"

namespace yox::decision {

// The document with what a decision may ask of one device (docs/facts.md): an object whose keys are
// the names in Facts.h. A key that is not there is unknown; null is known to be missing. Both
// functions are safe from any thread.

// Reads one document, UTF-8. Throws DocumentError for everything that is no such document, an
// unknown key included: "line 1: tags.Ring: expected a string, found a number". Lines count from
// `first_line`, which is the document's place in a file of many.
YOX_API FactsRecord ReadFacts(std::string_view utf8, std::size_t first_line = 1);

enum class Anonymity : std::uint8_t {
  kNamed,      // serial number and realm, as far as the record has them
  kAnonymous,  // their salted hashes and buckets instead; every decision stays the same
};

// Writes the record as one line of UTF-8 without a line feed, keys in the order of Facts.h. What is
// unknown is left out. ReadFacts returns a record on which every decision is the same, reason and
// explanation included; a lone surrogate of a text becomes U+FFFD.
YOX_API std::string FactsJson(const FactsRecord& record, Anonymity anonymity = Anonymity::kNamed);

}  // namespace yox::decision
