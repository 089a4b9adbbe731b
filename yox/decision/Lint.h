#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
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

// What to write in place of a part of a criterion's text, counted in units of UTF-16, so that what
// was probably meant is there. The replacement is UTF-8.
struct LintFix {
  std::size_t offset = 0;
  std::size_t length = 0;
  std::string replacement = {};
  // Where the part is in a document that was read.
  DocumentPlace place = {};
  DocumentPlace end = {};
};

// One thing that is wrong or suspicious in a filter list.
struct LintFinding {
  LintRule rule;
  std::optional<std::size_t> filter;  // absent: the list as a whole
  std::optional<FilterField> field;   // absent: the filter as a whole
  // The place in the field's text, in units of UTF-16, and its content, in UTF-8.
  std::size_t offset = 0;
  std::size_t length = 0;
  std::string excerpt = {};
  std::string detail = {};          // what exactly, in UTF-8; may be empty
  DocumentPlace place = {};         // of a document that was read; line 1, column 1 otherwise
  DocumentPlace end = {};           // the place after it; the same for the list
  std::optional<LintFix> fix = {};  // for mistakes that can be corrected without thought
  std::optional<std::size_t> covered_by = {};  // the filter that makes this one unreachable
  // The reason that the list gives for it in a comment, "lint: allow RULE: REASON"; absent when the
  // list does not allow it.
  std::optional<std::string> allowed = {};
};

// After how many comparisons of one requirement with another no more are made. With fewer, less is
// found in lists of thousands of filters.
inline constexpr std::uint32_t kLintEffort = 5'000'000;

// What is wrong or suspicious in a list, whatever the device; in the order of the filters, the list
// itself at the end. What is said to be unreachable or constant, or never or always to match, is so
// for every device and day; not everything that is so is found. Only windows and roll-outs that are
// over depend on `today`. A list that is constant because of a reported error is not reported as
// constant. Safe from any thread.
YOX_API std::vector<LintFinding> Lint(const ApplicabilityFilter& list, const LocalDate& today);

// Returns further findings of a list, such as those of a FleetLint.
using MoreFindings = std::function<std::vector<LintFinding>(const ApplicabilityFilter& list)>;

// The same for a filter document, with the places, and with what its comments allow: those of a
// filter there, that of the document everywhere. `more` is called with the list, unless it is
// empty; what it returns is left out where it is about the text of another finding. Throws
// DocumentError as ReadFilterDocument.
YOX_API std::vector<LintFinding> LintDocument(std::string_view utf8, const LocalDate& today,
                                              std::uint32_t effort = kLintEffort,
                                              const MoreFindings& more = {});

// "country: "a*b": a `*` that is at no end matches every value (DETAIL)", one line of UTF-8.
YOX_API std::string MessageOf(const LintFinding& finding);

}  // namespace yox::decision
