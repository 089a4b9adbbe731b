#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/Export.h"
#include "yox/base/LocalDate.h"
#include "yox/decision/Filter.h"
#include "yox/decision/LintRules.h"

namespace yox::decision {

// One thing that is wrong or suspicious in a filter list.
struct LintFinding {
  LintRule rule;
  std::optional<std::size_t> filter;  // absent: the list as a whole
  std::optional<FilterField> field;   // absent: the filter as a whole
  // The place in the field's text, in units of UTF-16, and what stands there, in UTF-8.
  std::size_t offset = 0;
  std::size_t length = 0;
  std::string excerpt = {};
  std::string detail = {};   // what exactly, in UTF-8; may be empty
  DocumentPlace place = {};  // of a document that was read; line 1, column 1 otherwise
};

// What is wrong or suspicious in a list, whatever the device; in the order of the filters, the list
// itself at the end. It stands on the forms that the evaluator holds against devices: what is said
// never to hold, always to hold, to be unreachable or to be constant is so for every device and
// day. Not everything that is so is found. Only a window that has passed depends on `today`. Safe
// from any thread.
YOX_API std::vector<LintFinding> Lint(const ApplicabilityFilter& list, const LocalDate& today);

// The same for a filter document, with the places. Throws DocumentError as ReadFilterDocument.
YOX_API std::vector<LintFinding> LintDocument(std::string_view utf8, const LocalDate& today);

// "country: "a*b": a `*` that is at no end matches every value (DETAIL)", one line of UTF-8.
YOX_API std::string MessageOf(const LintFinding& finding);

}  // namespace yox::decision
