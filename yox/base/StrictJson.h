#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

#include "yox/base/Document.h"
#include "yox/base/Export.h"

namespace yox {

// Reads JSON as RFC 8259 has it: well-formed UTF-8, no comments, no trailing commas, no key twice
// in an object, one value and nothing behind it. Throws DocumentError.
YOX_API Json::Value ParseDocument(std::string_view utf8);

// Goes through a document's text and tells the places of bytes, which are asked for in ascending
// order. A view of the text.
class YOX_API PlaceFinder {
 public:
  explicit PlaceFinder(std::string_view utf8) : text_(utf8) {}

  DocumentPlace At(std::size_t byte);

 private:
  std::string_view text_;
  std::size_t at_ = 0;
  DocumentPlace place_;
};

// Goes through a text of a document as it is written there, escapes and all. A view of both.
class YOX_API WrittenText {
 public:
  // `text` is a value of ParseDocument(`utf8`), and a text.
  WrittenText(std::string_view utf8, const Json::Value& text);

  // The byte of the document at which a unit of the text in UTF-16 begins; asked for in ascending
  // order. Behind the text's end it is that of the closing quotation mark.
  std::size_t ByteOf(std::size_t unit);

 private:
  std::string_view document_;
  std::size_t at_;
  std::size_t end_;
  std::size_t unit_ = 0;
};

// A value inside a document, which knows its place. A view: the document and the nodes above it
// must outlive it.
class YOX_API JsonNode {
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

}  // namespace yox
