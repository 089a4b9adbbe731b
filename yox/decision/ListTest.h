#pragma once

#include <json/value.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/decision/FactsRecord.h"
#include "yox/decision/Truth.h"

namespace yox::decision {

// The facts of a case's device: a file, seen from the document's folder, or the facts document
// itself (docs/facts.md), as it is written in the document of cases.
struct ListTestFacts {
  yox::WString file;
  std::string text;
  std::size_t first_line = 1;  // of the text, in the document of cases
};

// Tests of filter lists (docs/list-tests.md): what a list is expected to decide. Plain values with
// UTF-16 text. A device that is described by a profile is made by applicability/DeviceOfCase.h.
struct ListTestCase {
  yox::WString name;
  yox::WString profile;  // path relative to the document's folder; empty: a device without facts
  std::optional<ListTestFacts> facts;  // instead of a profile
  std::optional<Json::Value> changes;  // a merge patch of the profile (RFC 7386)
  std::optional<yox::WString> now;
  std::optional<yox::WString> target_version;
  std::map<yox::WString, yox::WString> tags;
  // kUnknown: undetermined. Always set by ReadListTest.
  std::optional<Truth> applies;
  std::optional<std::uint32_t> decided_by;
};

struct ListTest {
  yox::WString list;  // path relative to the document's folder; empty: the file beside it
  std::vector<ListTestCase> cases;
};

// Reads a document of cases, UTF-8. Throws yox::DocumentError, which names the place, if it is
// malformed.
YOX_API ListTest ReadListTest(std::string_view utf8);

// The facts of a case that has them: the text of its file, or its own. Throws yox::DocumentError as
// ReadFacts does.
YOX_API FactsRecord FactsOfCase(const ListTestCase& test, std::string_view file);

// Returns the paths of all keys that a document may have, such as "cases[*].name".
std::vector<std::string> ListTestPaths();

}  // namespace yox::decision
