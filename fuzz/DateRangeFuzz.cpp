#include <vector>

#include "yox/applicability/TestEvaluator.h"
#include "yox/decision/Dates.h"

#include "fuzz/FuzzInput.h"

using yox::LocalDate;
using YOX::String;
using yox::WString;
using namespace yox::literals;

namespace {

// How a day written as three numbers compares with today, reading no further than needed; false in
// `good` when the text cannot be read so far.
int Order(const WString& day, const LocalDate& today, bool& good) {
  const std::vector<WString> pieces = String::Split(day, '-');
  good = pieces.size() == 3;
  const int fields[] = {today.year, today.month, today.day};
  for (std::size_t i = 0; good && i < 3; ++i) {
    int number = 0;
    good = String::TryToInteger(pieces[i], number) == String::IntegerStatus::kOk;
    if (good && number != fields[i]) return number < fields[i] ? -1 : 1;
  }
  return 0;
}

bool Expected(const WString& range, const LocalDate& today) {
  const std::vector<WString> ends = String::Split(range, '|');
  if (ends.size() != 2) return false;
  bool good = true;
  if (ends[0] != "*"_wv && (Order(ends[0], today, good) > 0 || !good)) return false;
  return ends[1] == "*"_wv || (Order(ends[1], today, good) >= 0 && good);
}

}  // namespace

// A range of days, and today as three numbers.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static yox_test::TestEvaluator evaluator;
  yox_fuzz::FuzzInput input(data, size);
  const WString range = input.Text();
  LocalDate today;
  String::TryToInteger(input.Text(), today.year);
  String::TryToInteger(input.Text(), today.month);
  String::TryToInteger(input.Text(), today.day);
  FUZZ_CHECK(yox::decision::DateRange::Parse(range).Contains(today) == Expected(range, today));
  evaluator.IsCurrentDateWithinRange(range);
  return 0;
}
