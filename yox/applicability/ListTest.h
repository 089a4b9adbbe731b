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
#include "yox/platform/simulated/DeviceProfile.h"

namespace yox::applicability {

// The facts of a case's device: a file, seen from the document's folder, or the facts document
// itself (docs/facts.md), as it is written in the document of cases.
struct ListTestFacts {
  yox::WString file;
  std::string text;
  std::size_t first_line = 1;  // of the text, in the document of cases
};

// What a filter list is expected to decide (docs/list-tests.md): plain values, UTF-16 text.
struct ListTestCase {
  yox::WString name;
  yox::WString profile;  // a file, seen from the document's folder; empty: a bare device
  std::optional<ListTestFacts> facts;  // instead of a profile
  std::optional<Json::Value> changes;  // a merge patch of the profile (RFC 7386)
  std::optional<yox::WString> now;
  std::optional<yox::WString> target_version;
  std::map<yox::WString, yox::WString> tags;
  // kUnknown: undetermined. Always there in a document that was read.
  std::optional<yox::decision::Truth> applies;
  std::optional<std::uint32_t> decided_by;
};

struct ListTest {
  yox::WString list;  // a file, seen from the document's folder; empty: the one beside it
  std::vector<ListTestCase> cases;
};

// Reads a document of cases. Throws yox::DocumentError, with the place, for everything that is not
// as the format has it.
YOX_API ListTest ReadListTest(std::string_view utf8);

// The device of a case: the text of its profile, "{}" for a bare device, with its changes and its
// time. Throws yox::DocumentError with the key of the case that is to blame.
YOX_API yox::platform::DeviceProfile DeviceOfCase(const ListTestCase& test,
                                                  std::string_view profile);

// The facts of a case that has them: the text of its file, or its own. Throws yox::DocumentError as
// ReadFacts does.
YOX_API yox::decision::FactsRecord FactsOfCase(const ListTestCase& test, std::string_view file);

// The paths of all keys that a document may hold, such as "cases[*].name".
std::vector<std::string> ListTestPaths();

}  // namespace yox::applicability
