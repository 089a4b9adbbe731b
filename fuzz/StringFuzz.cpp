#include <stdexcept>
#include <string>

#include "fuzz/FuzzInput.h"

using YOX::String;
using yox::WChar;
using yox::WString;
using yox::WStringView;

namespace {

void CheckConversions(std::string_view bytes, const WString& text) {
  // What is well-formed comes back as it was; what is not becomes well-formed once and stays so.
  const WString wide = String::UTF8ToUTF16(bytes);
  const std::string back = String::UTF16ToUTF8(wide);
  FUZZ_CHECK(String::IsValidUTF8(back));
  FUZZ_CHECK((back == bytes) == String::IsValidUTF8(bytes));
  FUZZ_CHECK(String::UTF8ToUTF16(back) == wide);
  const std::string narrow = String::UTF16ToUTF8(text);
  FUZZ_CHECK(String::IsValidUTF8(narrow));
  FUZZ_CHECK(String::UTF8ToUTF16(narrow).size() == text.size());
}

void CheckPieces(const WString& text, WChar separator) {
  WString joined;
  const auto pieces = String::Split(text, separator);
  for (const WString& piece : pieces) {
    FUZZ_CHECK(piece.find(separator) == WString::npos);
    if (&piece != &pieces.front()) joined += separator;
    joined += piece;
  }
  FUZZ_CHECK(joined == text);
  FUZZ_CHECK(pieces.empty() == text.empty());
  FUZZ_CHECK(String::SplitOnce(text, separator).size() <= 2);
}

void CheckTrimming(const WString& text, const WString& set) {
  const WStringView view = String::Trimmed(text, set);
  WString both = text;
  FUZZ_CHECK(String::trim(both, set) == view && both == view);
  WString ends = text;
  String::trimStart(ends, set);
  FUZZ_CHECK(String::EndsWith(text, ends));
  String::trimEnd(ends, set);
  FUZZ_CHECK(ends == view);
  FUZZ_CHECK(String::IsEmptyOrWhiteSpace(text) == String::Trimmed(text).empty());
}

void CheckCase(const WString& text, const WString& other) {
  const WString upper = String::ToUpper(text);
  const WString lower = String::ToLower(text);
  FUZZ_CHECK(upper.size() == text.size() && lower.size() == text.size());
  WString folded;
  for (const WChar unit : text) folded += String::FoldCase(unit);
  FUZZ_CHECK(String::CaseInsesitiveEqual(text, folded));
  FUZZ_CHECK(String::CaseInsesitiveEqual(text, other) ==
             (text.size() == other.size() && String::CaseInsensitiveStartsWith(text, other)));
  FUZZ_CHECK(String::CaseInsesitiveFind(text + other, other));
  FUZZ_CHECK(String::CaseInsensitiveStartsWith(folded + other, text));
  FUZZ_CHECK(String::CaseInsensitiveEndsWith(other + folded, text));
  FUZZ_CHECK(!String::StartsWith(text, other) || String::CaseInsensitiveStartsWith(text, other));
  FUZZ_CHECK(!String::EndsWith(text, other) || String::CaseInsensitiveEndsWith(text, other));
}

void CheckReplacing(const WString& text, const WString& what) {
  FUZZ_CHECK(String::Replace(text, what, what) == text);
  if (what.empty()) return;
  const WString less = String::Replace(text, what, {});
  FUZZ_CHECK((less.size() == text.size()) == (text.find(what) == WString::npos));
}

void CheckIntegers(const WString& text) {
  int value = 77;
  const String::IntegerStatus status = String::TryToInteger(text, value);
  try {
    FUZZ_CHECK(String::ToInteger(text) == value && status == String::IntegerStatus::kOk);
  } catch (const std::invalid_argument& error) {
    FUZZ_CHECK(status == String::IntegerStatus::kInvalid && value == 77);
    FUZZ_CHECK(error.what() == std::string_view("invalid stoi argument"));
  } catch (const std::out_of_range& error) {
    FUZZ_CHECK(status == String::IntegerStatus::kOutOfRange && value == 77);
    FUZZ_CHECK(error.what() == std::string_view("stoi argument out of range"));
  }
}

}  // namespace

// Two lines of text; after them, bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  yox_fuzz::FuzzInput input(data, size);
  const WString text = input.Text();
  const WString other = input.Text();
  CheckConversions(input.Rest(), text);
  CheckPieces(text, other.empty() ? WChar{','} : other[0]);
  CheckTrimming(text, other);
  CheckCase(text, other);
  CheckReplacing(text, other);
  CheckIntegers(text);
  return 0;
}
