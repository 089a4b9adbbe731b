#include "yox/facts/FastParser.h"

#include <simdjson.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "yox/base/Document.h"
#include "yox/decision/FactsReading.h"
#include "yox/facts/FactsLine.h"
#include "yox/facts/LineValues.h"

namespace yox::facts {
namespace {

namespace dom = simdjson::dom;

// The document is left to the strict parser.
struct Declined {};

static_assert(FactsLine::kPadding >= simdjson::SIMDJSON_PADDING);

// The two parsers disagree on half surrogates, which are written only as an escape, and on a byte
// order mark.
bool MayDiffer(std::string_view utf8) {
  if (utf8.size() > kMaxDocumentSize || !utf8.starts_with('{')) return true;
  for (std::size_t at = utf8.find("\\u"); at != utf8.npos; at = utf8.find("\\u", at + 2)) {
    const std::string_view digits = utf8.substr(at + 2, 2);
    if (digits.size() == 2 && (digits[0] | 0x20) == 'd' && digits[1] > '7') return true;
  }
  return false;
}

// A value as simdjson parsed it, for FactsReading.
class FastNode {
 public:
  explicit FastNode(dom::element element, bool is_root = false)
      : element_(element), is_root_(is_root) {}

  bool IsNull() const { return element_.is_null(); }
  bool IsString() const { return element_.is_string(); }
  bool IsBool() const { return element_.is_bool(); }
  bool Bool() const { return element_.get_bool().value_unsafe(); }
  std::string_view Text() const { return element_.get_string().value_unsafe(); }
  std::optional<std::int64_t> WholeNumber() const {
    std::int64_t number = 0;
    if (element_.get_int64().get(number) != simdjson::SUCCESS) return std::nullopt;
    return number;
  }

  template <class Visit>
  void ForEachMember(Visit visit) const {
    dom::object object;
    Require(element_.get_object().get(object) == simdjson::SUCCESS, {});
    if (!is_root_) RequireDistinctKeys(object);  // FactsReading sees to the root's
    for (const dom::key_value_pair member : object) visit(member.key, FastNode(member.value));
  }
  template <class Visit>
  void ForEachElement(Visit visit) const {
    dom::array array;
    Require(element_.get_array().get(array) == simdjson::SUCCESS, {});
    for (const dom::element element : array) visit(FastNode(element));
  }

  static void Require(bool condition, std::string_view /*kind*/) {
    if (!condition) throw Declined();
  }
  // What is neither a fact nor a remark is refused, and remarks are rare.
  [[noreturn]] static bool IsRemark() { throw Declined(); }
  template <class Keys>
  [[noreturn]] static void FailUnknownKey(const Keys& /*known*/) {
    throw Declined();
  }
  [[noreturn]] static void Fail(std::string_view /*what*/) { throw Declined(); }

 private:
  // A repeated key is refused by the strict parser; simdjson does not look.
  static void RequireDistinctKeys(const dom::object& object) {
    constexpr std::size_t kFew = 16;
    const std::size_t size = object.size();
    if (size > kFew) return RequireDistinctManyKeys(object);
    if (size < 2) return;
    for (auto member = object.begin(); member != object.end(); ++member) {
      for (auto earlier = object.begin(); earlier != member; ++earlier) {
        Require(earlier.key() != member.key(), {});
      }
    }
  }
  static void RequireDistinctManyKeys(const dom::object& object) {
    std::vector<std::string_view> keys;
    for (const dom::key_value_pair member : object) keys.push_back(member.key);
    std::ranges::sort(keys);
    Require(std::ranges::adjacent_find(keys) == keys.end(), {});
  }

  dom::element element_;
  bool is_root_;
};

}  // namespace

struct FastParser::Parser {
  dom::parser parser;
};

FastParser::FastParser() : parser_(std::make_unique<Parser>()) {}
FastParser::~FastParser() = default;

bool FastParser::Read(std::string_view utf8, LineValues& values) {
  if (MayDiffer(utf8)) return false;
  constexpr bool kMayCopy = false;  // there is padding after the document
  dom::element root;
  if (parser_->parser.parse(utf8.data(), utf8.size(), kMayCopy).get(root) != simdjson::SUCCESS) {
    return false;
  }
  try {
    decision::FactsReading<FastNode, LineValues>(values).Read(FastNode(root, true));
  } catch (const Declined&) {
    return false;
  }
  return true;
}

}  // namespace yox::facts
