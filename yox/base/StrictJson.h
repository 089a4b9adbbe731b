#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

#include "yox/base/Document.h"
#include "yox/base/Export.h"
#include "yox/base/NearestWord.h"

namespace yox {

// Parses a document strictly by RFC 8259: well-formed UTF-8 without a byte order mark, no comments,
// no trailing commas, nothing after the value, and no key twice in an object. A whole number
// becomes an Int64 or UInt64 if it fits, otherwise a double. Each value has its place in the text
// (getOffsetStart, getOffsetLimit). Throws DocumentError, also for a document that is larger or
// deeper than Document.h allows. Safe from any thread. Errors count lines from `first_line`.
YOX_API Json::Value ParseDocument(std::string_view utf8, std::size_t first_line = 1);

// Converts byte offsets in a document's text to lines and columns, in one pass over the text. Keeps
// a view of the text.
class YOX_API PlaceFinder {
 public:
  explicit PlaceFinder(std::string_view utf8) : text_(utf8) {}

  // The offsets must ascend from call to call.
  DocumentPlace At(std::size_t byte);

 private:
  std::string_view text_;
  std::size_t at_ = 0;
  DocumentPlace place_;
};

// Converts offsets in the value of a JSON string to offsets in the document, where the string may
// be written with escapes. Keeps a view of the document.
class YOX_API WrittenText {
 public:
  // `text` is a string in the result of ParseDocument(`utf8`).
  WrittenText(std::string_view utf8, const Json::Value& text);

  // Returns the byte offset in the document of a code unit of the string (counted in UTF-16); for
  // one after the end, that of the closing quotation mark. The units must ascend from call to call.
  std::size_t ByteOf(std::size_t unit);

 private:
  std::string_view document_;
  std::size_t at_;
  std::size_t end_;
  std::size_t unit_ = 0;
};

// A value in a document together with its path, for error messages. The document and the nodes
// above this one must outlive it.
class YOX_API JsonNode {
 public:
  explicit JsonNode(const Json::Value& document) : value_(document) {}
  // Errors have the place of the value, or of the key if it is unknown, in the document's text.
  // Lines count from `first_line`.
  JsonNode(const Json::Value& document, std::string_view utf8, std::size_t first_line = 1)
      : value_(document), utf8_(utf8), first_line_(first_line) {}

  const Json::Value& value() const { return value_; }

  JsonNode Element(Json::ArrayIndex index) const { return {value_[index], *this, {}, index}; }

  // Calls `visit(key, node)` for each member, in the order of the keys. Throws DocumentError if the
  // value is not an object.
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

  // Throws DocumentError "PATH: expected KIND, found ..." unless the condition is true.
  void Require(bool condition, std::string_view kind) const;

  // Throws DocumentError "PATH: WHAT".
  [[noreturn]] void Fail(std::string_view what) const;
  // The same at the place of the member's key: "unknown key (did you mean "country"?)" with the
  // nearest of the keys that are known, a range of what converts to std::string_view.
  template <class Keys>
  [[noreturn]] void FailUnknownKey(const Keys& known) const {
    FailAtKey("unknown key" + DidYouMean(key_, known));
  }

  // Returns whether the value is the member `comment` of its object, a string or an array of
  // strings, or the member `$schema` of the document, a string. All documents of people may have
  // both, and neither means anything. Throws DocumentError if it is another kind of value.
  bool IsRemark() const;

  // Returns for example "filters[2].country"; a key that is not a plain word is written in
  // brackets: registry["HKLM\SOFTWARE"].
  std::string Path() const;

 private:
  [[noreturn]] void FailAtKey(const std::string& what) const;
  [[noreturn]] void FailAt(std::size_t byte, std::string_view what) const;

  JsonNode(const Json::Value& value, const JsonNode& parent, std::string_view key,
           Json::ArrayIndex index)
      : value_(value),
        parent_(&parent),
        key_(key),
        index_(index),
        utf8_(parent.utf8_),
        first_line_(parent.first_line_) {}

  const Json::Value& value_;
  const JsonNode* parent_ = nullptr;
  std::string_view key_;
  Json::ArrayIndex index_ = 0;
  // Of the document; empty when errors have no place.
  std::string_view utf8_ = {};
  std::size_t first_line_ = 1;
};

}  // namespace yox
