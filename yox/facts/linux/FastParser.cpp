#include "yox/facts/FastParser.h"

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/Utf8.h"
#include "yox/decision/Facts.h"
#include "yox/decision/FactsReading.h"
#include "yox/facts/FactsLine.h"
#include "yox/facts/LineValues.h"

namespace yox::facts {
namespace {

// The document is left to the strict parser.
struct Declined {};

[[noreturn, gnu::cold, gnu::noinline]] void Decline() { throw Declined(); }

void Require(bool condition) {
  if (!condition) [[unlikely]]
    Decline();
}

// The tokens of one document after another. simdjson's first stage finds where each begins: every
// bracket, colon and comma, and every string, number or word; it refuses what is not UTF-8, a
// control character in a string, and a string without an end. Grammar and values are checked here,
// so that a string without an escape is never copied.
class Tokens {
 public:
  void Begin(std::string_view utf8) {
    Require(!utf8.empty() && utf8.size() <= kMaxDocumentSize);
    Reserve(utf8.size());
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(utf8.data());
    Require(stage_->stage1(bytes, utf8.size(), simdjson::stage1_mode::regular) ==
            simdjson::SUCCESS);
    utf8_ = utf8.data();
    at_ = stage_->structural_indexes.get();
    end_ = at_ + stage_->n_structural_indexes;
    stage_->structural_indexes[stage_->n_structural_indexes] =
        static_cast<std::uint32_t>(utf8.size());
    // The last token is a bracket, so that every string, number and word has one after it.
    Require(end_ - at_ > 1 && utf8_[end_[-1]] == '}');
    keys.clear();
    utf8_end_ = utf8.data() + utf8.size();
    escape_ = FindEscape(utf8.data());
    if (unescaped_.size() < utf8.size()) unescaped_.resize(utf8.size());
    unescaped_end_ = unescaped_.data();
  }

  const std::uint32_t* at() const { return at_; }
  bool IsAtEnd() const { return at_ == end_; }
  // The first byte of the next token. There is one until the document's object is closed.
  char First() const { return utf8_[*at_]; }
  bool TakeIf(char first) {
    const bool is_it = First() == first;
    if (is_it) ++at_;
    return is_it;
  }
  void Take(char first) { Require(TakeIf(first)); }
  // Takes a string, number or word that was looked at.
  void TakeScalar() { ++at_; }

  // The next token: up to the one after it, without white space.
  std::string_view Token() const {
    const char* const begin = utf8_ + at_[0];
    const char* end = utf8_ + at_[1];
    while (IsSpace(end[-1])) --end;
    return {begin, static_cast<std::size_t>(end - begin)};
  }
  // The content of the next token, which has to be a string.
  std::string_view String() {
    Require(First() == '"');
    return Content();
  }
  // The content of the next token, which begins as a string does.
  std::string_view Content() {
    const char* const begin = utf8_ + at_[0] + 1;
    const char* end = utf8_ + at_[1] - 1;
    while (IsSpace(*end)) --end;
    Require(*end == '"' && end >= begin);
    const std::string_view content(begin, static_cast<std::size_t>(end - begin));
    return escape_ >= end ? content : WithEscapes(content);
  }

  // Takes the key of the document's member of this number, and the colon. Returns the number of its
  // fact. Most documents of a fleet have the same keys in the same order, so the key of the
  // document before is tried first.
  std::size_t TakeFactKey(std::size_t member) {
    KnownKey& known = known_keys_[member % known_keys_.size()];
    const char* const begin = utf8_ + at_[0];
    const std::size_t size = at_[1] - at_[0];
    if (size != known.size || !decision::IsSameName({begin, size}, {known.text.data(), size}) ||
        begin[size] != ':') {
      const std::string_view key = String();
      known.fact = decision::FactIndexOfKey(key);
      known.size = size <= known.text.size() ? size : 0;
      std::copy_n(begin, known.size, known.text.begin());
      ++at_;
      Take(':');
    } else {
      at_ += 2;
    }
    return known.fact;
  }

  // The keys of the objects that are being read, one after the other.
  std::vector<std::string_view> keys;

 private:
  void Reserve(std::size_t size) {
    if (stage_ != nullptr && size <= stage_->capacity()) return;
    // For the smallest documents too, so that it is rarely done again.
    constexpr std::size_t kLeast = 4096;
    constexpr std::size_t kDepth = 1;  // of the second stage, which is not used
    stage_.reset();
    const std::size_t capacity = std::max(kLeast, size + size / 2);
    Require(simdjson::get_active_implementation()->create_dom_parser_implementation(
                capacity, kDepth, stage_) == simdjson::SUCCESS);
  }

  static bool IsSpace(char byte) {
    return byte <= ' ' && (byte == ' ' || byte == '\n' || byte == '\r' || byte == '\t');
  }

  // The first backslash from there on, or the end of the document.
  const char* FindEscape(const char* from) const {
    const void* const found = std::memchr(from, '\\', static_cast<std::size_t>(utf8_end_ - from));
    return found == nullptr ? utf8_end_ : static_cast<const char*>(found);
  }

  // A string that may have escapes: none when the next one is of a later string. Few strings come
  // here, so that String stays small enough to be inlined.
  [[gnu::noinline]] std::string_view WithEscapes(std::string_view content) {
    const char* const end = content.data() + content.size();
    if (escape_ < content.data()) escape_ = FindEscape(content.data());
    if (escape_ >= end) return content;
    char* const begin = unescaped_end_;  // no longer than the content
    const char* from = content.data();
    while (escape_ < end) {
      unescaped_end_ = std::copy(from, escape_, unescaped_end_);
      from = Unescape({escape_ + 1, static_cast<std::size_t>(end - escape_ - 1)});
      escape_ = FindEscape(from);
    }
    unescaped_end_ = std::copy(from, end, unescaped_end_);
    return {begin, static_cast<std::size_t>(unescaped_end_ - begin)};
  }

  // Writes what an escape means, and returns what comes after it. `text` begins after the
  // backslash.
  const char* Unescape(std::string_view text) {
    Require(!text.empty());
    switch (text.front()) {
      case '"':
      case '\\':
      case '/':
        *unescaped_end_++ = text.front();
        break;
      case 'b':
        *unescaped_end_++ = '\b';
        break;
      case 'f':
        *unescaped_end_++ = '\f';
        break;
      case 'n':
        *unescaped_end_++ = '\n';
        break;
      case 'r':
        *unescaped_end_++ = '\r';
        break;
      case 't':
        *unescaped_end_++ = '\t';
        break;
      case 'u': {
        std::string point;
        AppendUtf8(point, CodePoint(text.substr(1)));
        unescaped_end_ = std::ranges::copy(point, unescaped_end_).out;
        return text.data() + 5;
      }
      default:
        throw Declined();
    }
    return text.data() + 1;
  }
  // Halves of a surrogate pair are left to the strict parser.
  static char32_t CodePoint(std::string_view digits) {
    std::uint32_t point = 0;
    Require(digits.size() >= 4);
    Require(std::from_chars(digits.data(), digits.data() + 4, point, 16).ptr == digits.data() + 4);
    Require((point & 0xF800) != 0xD800);
    return point;
  }

  // A key of a document, from its quotation mark to before its colon.
  struct KnownKey {
    std::size_t size = 0;
    std::size_t fact = 0;
    std::array<char, 24> text = {};
  };
  static constexpr std::size_t kKnownKeys = 32;

  std::array<KnownKey, kKnownKeys> known_keys_;
  std::unique_ptr<simdjson::internal::dom_parser_implementation> stage_;
  const char* utf8_ = nullptr;
  const char* utf8_end_ = nullptr;
  const std::uint32_t* at_ = nullptr;   // where in the document each token begins
  const std::uint32_t* end_ = nullptr;  // where the document's size is
  const char* escape_ = nullptr;        // the first backslash from a string on, or the end
  std::string unescaped_;               // what has been unescaped of the document, up to the end
  char* unescaped_end_ = nullptr;
};

// The value at the next token, for FactsReading. Reading an array or object takes its tokens.
class FastNode {
 public:
  explicit FastNode(Tokens& tokens) : tokens_(tokens) {}

  bool IsNull() const { return tokens_.First() == 'n' && tokens_.Token() == "null"; }
  bool IsString() const { return tokens_.First() == '"'; }
  bool IsBool() const { return tokens_.Token() == "true" || tokens_.Token() == "false"; }
  bool Bool() const { return tokens_.First() == 't'; }
  std::string_view Text() const { return tokens_.Content(); }
  std::optional<std::int64_t> WholeNumber() const {
    const std::string_view token = tokens_.Token();
    const char* const end = token.data() + token.size();
    std::int64_t number = 0;
    // Only what JSON writes in the same way: no leading zero.
    if (token.size() > 1 && token[0] == '0') return std::nullopt;
    const auto [last, error] = std::from_chars(token.data(), end, number);
    if (error != std::errc() || last != end) return std::nullopt;
    return number;
  }

  template <class Visit>
  void ForEachMember(Visit visit) const {
    const std::size_t first_key = tokens_.keys.size();
    tokens_.Take('{');
    if (tokens_.TakeIf('}')) return RequireMore();
    do {
      const std::string_view key = tokens_.String();
      tokens_.TakeScalar();
      tokens_.Take(':');
      tokens_.keys.push_back(key);
      VisitOne([&](const FastNode& node) { visit(key, node); });
    } while (tokens_.TakeIf(','));
    tokens_.Take('}');
    RequireMore();
    RequireDistinct(std::span(tokens_.keys).subspan(first_key));
    tokens_.keys.resize(first_key);
  }
  template <class Visit>
  void ForEachElement(Visit visit) const {
    tokens_.Take('[');
    if (tokens_.TakeIf(']')) return;
    do {
      VisitOne(visit);
    } while (tokens_.TakeIf(','));
    tokens_.Take(']');
  }

  // Calls visit(node), which requires a certain kind of value, and takes what it has not taken.
  template <class Visit>
  void VisitOne(Visit visit) const {
    const std::uint32_t* const before = tokens_.at();
    visit(*this);
    if (tokens_.at() == before) tokens_.TakeScalar();
  }

  static void Require(bool condition, std::string_view /*kind*/) { facts::Require(condition); }
  // What is neither a fact nor a remark is refused, and remarks are rare.
  [[noreturn]] static bool IsRemark() { throw Declined(); }
  template <class Known>
  [[noreturn]] static void FailUnknownKey(const Known& /*known*/) {
    throw Declined();
  }
  [[noreturn]] static void Fail(std::string_view /*what*/) { throw Declined(); }

 private:
  // The strict parser refuses a repeated key.
  static void RequireDistinct(std::span<std::string_view> keys) {
    constexpr std::size_t kFew = 16;
    if (keys.size() > kFew) {
      std::ranges::sort(keys);
      return facts::Require(std::ranges::adjacent_find(keys) == keys.end());
    }
    for (std::size_t i = 1; i < keys.size(); ++i) {
      for (std::size_t j = 0; j < i; ++j) facts::Require(keys[i] != keys[j]);
    }
  }

  // The last bracket is the document's, which an object within it must not take.
  void RequireMore() const { facts::Require(!tokens_.IsAtEnd()); }

  Tokens& tokens_;
};

// Reads the document whose tokens these are. FactsReading sees to keys that are given twice. Begins
// a line of the cache: elsewhere its loop takes up to a sixth longer.
[[gnu::aligned(64)]] void ReadDocument(Tokens& tokens, LineValues& values) {
  decision::FactsReading<FastNode, LineValues> reading(values);
  const FastNode node(tokens);
  tokens.Take('{');
  if (!tokens.TakeIf('}')) {
    std::size_t member = 0;
    do {
      const std::size_t fact = tokens.TakeFactKey(member++);
      node.VisitOne([&](const FastNode& value) { reading.ReadMember(fact, value); });
    } while (tokens.TakeIf(','));
    tokens.Take('}');
  }
  Require(tokens.IsAtEnd());
  reading.End();
}

}  // namespace

struct FastParser::Parser {
  Tokens tokens;
};

FastParser::FastParser() : parser_(std::make_unique<Parser>()) {}
FastParser::~FastParser() = default;

bool FastParser::Read(std::string_view utf8, LineValues& values) {
  static_assert(FactsLine::kPadding >= simdjson::SIMDJSON_PADDING);
  Tokens& tokens = parser_->tokens;
  try {
    tokens.Begin(utf8);
    ReadDocument(tokens, values);
    return true;
  } catch (const Declined&) {
    return false;
  }
}

}  // namespace yox::facts
