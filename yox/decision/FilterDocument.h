#pragma once

#include <string>
#include <string_view>

#include "yox/base/Document.h"
#include "yox/base/Export.h"
#include "yox/decision/Filter.h"

namespace yox::decision {

// The document that holds a filter list (docs/filter-list.md): {"filters": [FILTER, ...]} or the
// bare array. A filter is an object whose keys are the names of the fields and whose values are
// strings. The document may have a `$schema` and every object a `comment`; neither is kept. Both
// operations are safe from any thread.

// Throws DocumentError, with the place, the filter's index and the key, for everything else.
YOX_API ApplicabilityFilter ReadFilterDocument(std::string_view utf8);

// The list as a document, fields in the order of their names and empty ones left out.
YOX_API std::string WriteFilterDocument(const ApplicabilityFilter& filter);

}  // namespace yox::decision
