#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "yox/base/Export.h"
#include "yox/base/Printable.h"

// Reading the documents that people write. They are read strictly: a mistake is refused, with its
// place.
namespace yox {

// A document is at most 4 MiB long and 64 values deep.
inline constexpr std::size_t kMaxDocumentSize = std::size_t{4} << 20;
inline constexpr int kMaxDocumentDepth = 64;
inline constexpr const char* kTooLongDocument = "longer than 4 MiB";

// A place in a document's text. Both numbers count from 1; a column is a code point.
struct DocumentPlace {
  std::size_t line = 1;
  std::size_t column = 1;

  friend bool operator==(const DocumentPlace&, const DocumentPlace&) = default;
};

// Says what is wrong with a document, and where: "line 3, column 7: filters[2].country: expected a
// string, found a number". One line, as OneLine returns it.
class YOX_API DocumentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  // The text begins with the place.
  DocumentError(const DocumentPlace& place, const std::string& message)
      : runtime_error("line " + std::to_string(place.line) + ", column " +
                      std::to_string(place.column) + ": " + message),
        place_(place),
        message_(message) {}

  // Returns the place in the document's text, or std::nullopt if the error has none.
  const std::optional<DocumentPlace>& place() const { return place_; }
  // Returns the text without the place.
  std::string message() const { return place_ ? message_ : what(); }

 private:
  std::optional<DocumentPlace> place_;
  std::string message_;
};

// Returns the bytes of a file, without a byte order mark (UTF-8) at the beginning. Throws
// DocumentError when there is no such file, when it is not a regular file or cannot be read, or
// when it has more than `longest` bytes, a whole number of MiB. A file that is too long is not
// read.
YOX_API std::string ReadDocumentFile(const std::filesystem::path& file,
                                     std::size_t longest = kMaxDocumentSize);

}  // namespace yox
