#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace yoxctl {

// Where a place in the text of a filter list is, as far as the text before it says. The text need
// not be well-formed: it is being typed.
struct ListContext {
  enum class Kind {
    kElsewhere,
    kRootKey,     // where a key of the document is, or can be written
    kFieldKey,    // where a key of a filter is, or can be written
    kFieldValue,  // in the string of a field
  };

  Kind kind = Kind::kElsewhere;
  std::optional<std::size_t> filter = {};  // the filter's index
  std::string field = {};                  // of kFieldKey when it is complete, and of kFieldValue
  bool in_string = false;                  // the place is between quotation marks
  std::size_t string_begin = 0;            // the byte after the opening quotation mark
  std::vector<std::string> keys = {};      // of the same object, before the place
};

// Returns what is at a byte of a document's text.
ListContext ContextAt(std::string_view utf8, std::size_t byte);

// Converts the positions of the protocol, 0-based lines and units of UTF-16, to bytes; a position
// after the end of a line is its end.
std::size_t ByteOfPosition(std::string_view utf8, std::size_t line, std::size_t unit);

}  // namespace yoxctl
