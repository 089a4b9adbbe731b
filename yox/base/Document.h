#pragma once

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

#include "yox/base/Export.h"
#include "yox/base/Printable.h"

// The documents that people write are read strictly: what is not meant is refused, and the refusal
// says where it stands.
namespace yox {

// What is wrong with a document, and where: "filters[2].country: expected a text, found a number",
// "line 3, column 7: Missing ',' or '}' in object declaration". One line without control
// characters.
class YOX_API DocumentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A document is at most 4 MiB long and 64 values deep.
inline constexpr std::size_t kMaxDocumentSize = std::size_t{4} << 20;
inline constexpr int kMaxDocumentDepth = 64;
inline constexpr const char* kTooLongDocument = "longer than 4 MiB";

// Where something stands in a document's text. Both count from 1; a column is a character.
struct DocumentPlace {
  std::size_t line = 1;
  std::size_t column = 1;

  friend bool operator==(const DocumentPlace&, const DocumentPlace&) = default;
};

// The bytes of a file, without a leading byte order mark of UTF-8. Throws DocumentError when there
// is none, when it is not a regular file or cannot be read, and when it is longer than so many
// bytes, a whole number of MiB, before it is read.
YOX_API std::string ReadDocumentFile(const std::filesystem::path& file,
                                     std::size_t longest = kMaxDocumentSize);

}  // namespace yox
