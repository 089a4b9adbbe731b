#pragma once

#include <json/value.h>

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

#include "yox/clientbase/Export.h"

// Strict reading of the documents that people write: what is not meant is refused, and the refusal
// says where it stands.
namespace YOX {

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

// The bytes of a file, without a leading byte order mark. Throws DocumentError when there is none,
// when it is not a regular file or cannot be read, and when it is too long, before it is read.
YOX_API std::string ReadDocumentFile(const std::filesystem::path& file);

// Reads JSON as RFC 8259 has it: well-formed UTF-8, no comments, no trailing commas, no key twice
// in an object, one value and nothing behind it. Throws DocumentError.
Json::Value ParseDocument(std::string_view utf8);

// The text as one line: control characters are written as \u001b, and of a long text the beginning
// stands for all of it.
YOX_API std::string Printable(std::string_view utf8);

// A value inside a document, which knows its place. A view: the document and the nodes above it
// must outlive it.
class JsonNode {
 public:
  explicit JsonNode(const Json::Value& document) : value_(document) {}

  const Json::Value& value() const { return value_; }

  JsonNode Element(Json::ArrayIndex index) const { return {value_[index], *this, {}, index}; }

  // Calls `visit(key, node)` for each member, in the order of the keys. Fails when the value is not
  // an object.
  template <class Visit>
  void ForEachMember(Visit visit) const {
    Require(value_.isObject(), "an object");
    for (auto member = value_.begin(); member != value_.end(); ++member) {
      const char* end = nullptr;
      const char* const begin = member.memberName(&end);
      const std::string_view key(begin, static_cast<std::size_t>(end - begin));
      visit(key, JsonNode(*member, *this, key, 0));
    }
  }

  // Throws DocumentError "PATH: expected KIND, found ..." unless the condition holds.
  void Require(bool condition, std::string_view kind) const;

  // Throws DocumentError "PATH: WHAT".
  [[noreturn]] void Fail(std::string_view what) const;

  // "filters[2].country"; a key that is no plain word stands in brackets:
  // registry["HKLM\SOFTWARE"].
  std::string Path() const;

 private:
  JsonNode(const Json::Value& value, const JsonNode& parent, std::string_view key,
           Json::ArrayIndex index)
      : value_(value), parent_(&parent), key_(key), index_(index) {}

  const Json::Value& value_;
  const JsonNode* parent_ = nullptr;
  std::string_view key_;
  Json::ArrayIndex index_ = 0;
};

}  // namespace YOX
