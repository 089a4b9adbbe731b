#pragma once

#include <string>
#include <string_view>

#include "yox/base/Document.h"
#include "yox/base/Export.h"
#include "yox/decision/Filter.h"

namespace yox::decision {

// Filter list documents (docs/filter-list.md): {"filters": [FILTER, ...]} or the array alone. A
// filter is an object whose keys are names of fields and whose values are strings. The document may
// have a `$schema`, and every object a `comment`; neither is kept. Both functions are safe from any
// thread.

// Reads a document, UTF-8. Throws DocumentError, which names the place, the filter's index and the
// key, for anything else.
YOX_API ApplicabilityFilter ReadFilterDocument(std::string_view utf8);

// Returns the list as a document, UTF-8: fields in the order of their names, without empty ones.
YOX_API std::string WriteFilterDocument(const ApplicabilityFilter& filter);

}  // namespace yox::decision
