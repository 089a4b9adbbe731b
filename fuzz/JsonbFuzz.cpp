#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/ReasonText.h"
#include "yox/facts/FactsLine.h"

#include "bindings/postgresql/Border.h"
#include "fuzz/FuzzInput.h"

namespace {

constexpr std::int64_t kNow = 1772362800;  // 2026-03-01T12:00:00+01:00

// Writes a document in the binary form of jsonb, and as text with the members in its order.
class JsonbWriter {
 public:
  explicit JsonbWriter(const Json::Value& document) {
    const Entry root = Write(document);
    if (root.kind == kContainer) bytes_.erase(0, root.begin);
  }

  const std::string& bytes() const { return bytes_; }
  const std::string& text() const { return text_; }

 private:
  static constexpr std::uint32_t kString = 0;
  static constexpr std::uint32_t kNumber = 1;
  static constexpr std::uint32_t kFalse = 2;
  static constexpr std::uint32_t kTrue = 3;
  static constexpr std::uint32_t kNull = 4;
  static constexpr std::uint32_t kContainer = 5;

  struct Entry {
    std::uint32_t kind;
    std::size_t begin;  // after the bytes that align it
  };

  static std::vector<std::string> KeysOf(const Json::Value& object) {
    std::vector<std::string> keys = object.getMemberNames();
    std::ranges::sort(keys, [](const std::string& left, const std::string& right) {
      return left.size() != right.size() ? left.size() < right.size() : left < right;
    });
    return keys;
  }

  void Word(std::uint32_t word) { bytes_.append(reinterpret_cast<const char*>(&word), 4); }
  void Half(std::uint16_t half) { bytes_.append(reinterpret_cast<const char*>(&half), 2); }
  void Align() { bytes_.resize((bytes_.size() + 3) & ~std::size_t{3}); }
  void Quote(const std::string& text) {
    text_ += yox::JsonText(text, yox::JsonStyle::kReadableLine);
    while (text_.ends_with('\n')) text_.pop_back();
  }

  Entry Write(const Json::Value& value) {
    const std::size_t unaligned = bytes_.size();
    if (value.isString()) {
      bytes_ += value.asString();
      Quote(value.asString());
      return {kString, unaligned};
    }
    if (value.isArray() || value.isObject()) return {kContainer, Container(value)};
    if (value.isNumeric()) return {kNumber, Number(value)};
    text_ += value.isNull() ? "null" : value.asBool() ? "true" : "false";
    return {value.isNull() ? kNull : value.asBool() ? kTrue : kFalse, unaligned};
  }

  // Every number that the reader need not know is a half.
  std::size_t Number(const Json::Value& value) {
    const bool is_whole =
        value.isUInt() && value.asUInt() < 10000 && value.type() != Json::realValue;
    const unsigned number = is_whole ? value.asUInt() : 5000;
    Align();
    const std::size_t begin = bytes_.size();
    Word(0);
    Half(is_whole ? 0x8000 : 0x8080);
    if (number != 0) Half(static_cast<std::uint16_t>(number));
    text_ += is_whole ? std::to_string(number) : "0.5";
    return begin;
  }

  std::size_t Container(const Json::Value& value) {
    Align();
    const std::size_t begin = bytes_.size();
    Word(value.size() | (value.isObject() ? 0x20000000U : 0x40000000U));
    const std::size_t entries = bytes_.size();
    const std::size_t count = value.isObject() ? value.size() * 2 : value.size();
    bytes_.resize(entries + count * 4);
    const std::size_t data = bytes_.size();
    std::size_t previous = data;
    std::size_t next = 0;
    const auto end_entry = [&](std::uint32_t kind) {
      // Every 32nd entry has its end, the others their length.
      const bool is_end = next % 32 == 0;
      const auto number = static_cast<std::uint32_t>(bytes_.size() - (is_end ? data : previous));
      const std::uint32_t entry = number | kind << 28 | (is_end ? 0x80000000U : 0);
      std::memcpy(bytes_.data() + entries + 4 * next++, &entry, 4);
      previous = bytes_.size();
    };
    if (value.isArray()) {
      text_ += '[';
      for (const Json::Value& element : value) {
        if (next > 0) text_ += ',';
        end_entry(Write(element).kind);
      }
      text_ += ']';
      return begin;
    }
    const std::vector<std::string> keys = KeysOf(value);
    for (const std::string& key : keys) {
      bytes_ += key;
      end_entry(kString);
    }
    text_ += '{';
    for (const std::string& key : keys) {
      if (next > keys.size()) text_ += ',';
      Quote(key);
      text_ += ':';
      end_entry(Write(value[key]).kind);
    }
    text_ += '}';
    return begin;
  }

  std::string bytes_;
  std::string text_;
};

std::string Copied(yox_text text) {
  return text.bytes == nullptr ? "" : std::string(text.bytes, text.size);
}

// The results of all functions for one device; std::nullopt if one refuses it.
struct Results {
  yox_truth applies = YOX_UNDETERMINED;
  std::int32_t decided_by = -1;
  std::string reason;
  std::string counts;
};

std::optional<Results> Ask(yox_call* call, const std::string& bytes) {
  // Of this size exactly, and aligned as in the server, so that a sanitizer sees a step beyond it.
  const std::unique_ptr<std::uint32_t[]> copy(new std::uint32_t[(bytes.size() + 3) / 4]);
  std::memcpy(copy.get(), bytes.data(), bytes.size());
  const yox_question question{copy.get(), bytes.size(), kNow, {nullptr, 0}};
  Results results;
  yox_text text{nullptr, 0};
  bool is_good = yox_applies(call, &question, &results.applies);
  const auto also = [&](bool succeeded) {
    if (!succeeded) FUZZ_CHECK(yox_problem_of(call) == YOX_BAD_FACTS);
    is_good = is_good && succeeded;
    return succeeded;
  };
  also(is_good);
  if (also(yox_reason(call, &question, &text))) results.reason = Copied(text);
  also(yox_decided_by(call, &question, &results.decided_by));
  also(yox_explain_device(call, &question, &text));
  if (also(yox_criteria(call, &question))) {
    std::array<yox_cell, YOX_MOST_COLUMNS> cells;
    while (yox_next_row(call, cells.data(), cells.size())) FUZZ_CHECK(cells[1].kind == YOX_TEXT);
  }
  const std::unique_ptr<yox_funnel, decltype(&yox_funnel_free)> funnel(yox_funnel_new(),
                                                                       yox_funnel_free);
  if (also(yox_funnel_add(call, funnel.get(), &question))) {
    FUZZ_CHECK(yox_funnel_json(call, funnel.get(), &text));
    results.counts = Copied(text);
  }
  if (!is_good) return std::nullopt;
  return results;
}

// Counts that another server might send: refused, or written again as they are read.
void MergeCounts(yox_call* call, std::string_view bytes) {
  const auto merged = [&](yox_text part) -> std::optional<std::string> {
    const std::unique_ptr<yox_funnel, decltype(&yox_funnel_free)> funnel(yox_funnel_new(),
                                                                         yox_funnel_free);
    if (!yox_funnel_merge_bytes(call, funnel.get(), part)) {
      FUZZ_CHECK(yox_problem_of(call) == YOX_BAD_VALUE);
      return std::nullopt;
    }
    yox_text written{nullptr, 0};
    FUZZ_CHECK(yox_funnel_bytes(call, funnel.get(), &written));
    return Copied(written);
  };
  const auto once = merged({bytes.data(), bytes.size()});
  if (once) FUZZ_CHECK(merged({once->data(), once->size()}) == once);
}

}  // namespace

// What the functions of PostgreSQL do with a list and a device in jsonb: first as a server would
// store it, which must be decided as the text is, then with bytes of it replaced, which must be
// decided or refused. Lines: the list, the facts; then pairs of place (two bytes) and byte, which
// are counts of a funnel too.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  yox_fuzz::FuzzInput input(data, size);
  const std::string list(input.Line());
  const std::string_view facts = input.Line();
  const std::string_view patches = input.Rest();

  const std::unique_ptr<yox_call, decltype(&yox_call_free)> owned(yox_call_new(), yox_call_free);
  yox_call* const call = owned.get();
  std::int32_t bucket = 0;
  double share = 0;
  FUZZ_CHECK(yox_bucket(call, {list.data(), list.size()}, &bucket) && bucket >= 0 && bucket < 4096);
  if (yox_share(call, {list.data(), list.size()}, kNow, &share))
    FUZZ_CHECK(share >= 0 && share <= 1);
  MergeCounts(call, patches);
  const bool is_list = yox_call_compile(call, list.data(), list.size(), list.c_str());
  FUZZ_CHECK(is_list || yox_problem_of(call) == YOX_BAD_LIST);
  FUZZ_CHECK(yox_lint_list(call, list.c_str(), kNow) == is_list);
  if (!is_list) return 0;

  std::optional<JsonbWriter> written;
  try {
    written.emplace(yox::ParseDocument(facts));
  } catch (const yox::DocumentError&) {
    return 0;
  }
  const auto results = Ask(call, written->bytes());
  if (yox_check_facts(call, written->text().c_str())) {
    FUZZ_CHECK(results);
    const std::string padded = written->text() + std::string(yox::facts::FactsLine::kPadding, ' ');
    yox::facts::FactsLine line;
    line.Read(std::string_view(padded).substr(0, written->text().size()));
    const yox::decision::Question question{kNow};
    yox::facts::LineFacts device(line, question);
    // What the call was given ends at a zero.
    const auto compiled =
        yox::decision::ReadFilterDocument(std::string_view(list.c_str())).snapshot();
    yox::WString reason;
    yox::decision::ReasonText observer(*compiled, reason);
    const auto verdict = Decide(*compiled, device, &observer);
    using yox::decision::Truth;
    FUZZ_CHECK((results->applies == YOX_APPLIES) == (verdict.applies == Truth::kTrue));
    FUZZ_CHECK((results->applies == YOX_UNDETERMINED) == (verdict.applies == Truth::kUnknown));
    if (verdict.applies != Truth::kUnknown)
      FUZZ_CHECK(results->reason == yox::String::UTF16ToUTF8(reason));
    FUZZ_CHECK(results->decided_by ==
               (verdict.decided_by ? static_cast<std::int32_t>(*verdict.decided_by) : -1));
    FUZZ_CHECK(yox::ParseDocument(results->counts)["devices"].asUInt64() == 1);
  }

  std::string damaged = written->bytes();
  for (std::size_t i = 0; i + 3 <= patches.size() && !damaged.empty(); i += 3) {
    const auto low = static_cast<unsigned char>(patches[i]);
    const auto high = static_cast<unsigned char>(patches[i + 1]);
    damaged[static_cast<std::size_t>(high << 8 | low) % damaged.size()] = patches[i + 2];
  }
  Ask(call, damaged);
  if (!patches.empty())
    Ask(call, damaged.substr(0, static_cast<unsigned char>(patches[0]) % (damaged.size() + 1)));
  return 0;
}
