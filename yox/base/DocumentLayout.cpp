#include "yox/base/DocumentLayout.h"

#include <algorithm>
#include <vector>

#include "yox/base/StrictJson.h"

namespace yox {
namespace {

// A value as it is written. Of an object each element has a key.
struct Node {
  char kind = 0;              // '{', '[', or 0 for a scalar
  std::string_view key = {};  // with its quotation marks
  std::string_view text = {};
  std::vector<Node> elements = {};
};

// Reads a document that is known to be well-formed.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  Node Value() {
    SkipSpace();
    const char first = text_[at_];
    if (first == '"') return {0, {}, String()};
    if (first != '{' && first != '[') return {0, {}, Word()};
    Node node{first};
    ++at_;
    for (SkipSpace(); text_[at_] != '}' && text_[at_] != ']'; SkipSpace()) {
      if (text_[at_] == ',') {
        ++at_;
        continue;
      }
      node.elements.push_back(first == '{' ? Member() : Value());
    }
    ++at_;
    return node;
  }

 private:
  Node Member() {
    const std::string_view key = String();
    SkipSpace();
    ++at_;  // the colon
    Node value = Value();
    value.key = key;
    return value;
  }

  void SkipSpace() { at_ = std::min(text_.size(), text_.find_first_not_of(" \t\n\r", at_)); }

  std::string_view String() {
    const std::size_t begin = at_++;
    while (text_[at_] != '"') at_ += text_[at_] == '\\' ? 2 : 1;
    ++at_;
    return text_.substr(begin, at_ - begin);
  }

  std::string_view Word() {
    const std::size_t begin = at_;
    at_ = std::min(text_.size(), text_.find_first_of(" \t\n\r,]}", at_));
    return text_.substr(begin, at_ - begin);
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

std::size_t Columns(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

// Whether a value has lines of its own whatever its length: a list of objects, and what has one.
bool IsSpread(const Node& node) {
  return std::ranges::any_of(node.elements, [&](const Node& element) {
    return (node.kind == '[' && element.kind == '{') || IsSpread(element);
  });
}

class Writer {
 public:
  std::string Document(const Node& root) && {
    Value(root, 0, 0, true);
    return std::move(text_) + '\n';
  }

 private:
  // `behind` is what follows on the same line.
  void Value(const Node& node, std::size_t indent, std::size_t behind, bool is_root = false) {
    if (node.kind == 0) {
      text_ += node.text;
      return;
    }
    if (!(is_root && node.kind == '{') && !IsSpread(node)) {
      const std::size_t begin = text_.size();
      Flat(node);
      const std::size_t line = text_.rfind('\n', begin) + 1;  // 0 when there is none
      if (Columns(std::string_view(text_).substr(line)) + behind <= kDocumentColumns) return;
      text_.resize(begin);
    }
    if (node.elements.empty()) return Flat(node);
    text_ += node.kind;
    for (std::size_t i = 0; i < node.elements.size(); ++i) {
      const bool last = i + 1 == node.elements.size();
      text_ += '\n';
      text_.append(indent + kIndent, ' ');
      Key(node.elements[i]);
      Value(node.elements[i], indent + kIndent, last ? 0 : 1);
      if (!last) text_ += ',';
    }
    text_ += '\n';
    text_.append(indent, ' ');
    text_ += node.kind == '{' ? '}' : ']';
  }

  void Flat(const Node& node) {
    if (node.kind == 0) {
      text_ += node.text;
      return;
    }
    const bool blank = node.kind == '{' && !node.elements.empty();
    text_ += node.kind;
    if (blank) text_ += ' ';
    for (std::size_t i = 0; i < node.elements.size(); ++i) {
      if (i != 0) text_ += ", ";
      Key(node.elements[i]);
      Flat(node.elements[i]);
    }
    if (blank) text_ += ' ';
    text_ += node.kind == '{' ? '}' : ']';
  }

  void Key(const Node& node) {
    if (node.key.empty()) return;
    text_ += node.key;
    text_ += ": ";
  }

  static constexpr std::size_t kIndent = 2;
  std::string text_;
};

}  // namespace

std::string LayOutDocument(std::string_view utf8) {
  ParseDocument(utf8);
  return Writer().Document(Reader(utf8).Value());
}

}  // namespace yox
