#include "yox/base/Moment.h"

#include <cstddef>
#include <optional>
#include <string>

#include "yox/base/Document.h"
#include "yox/base/LocalDate.h"
#include "yox/base/Printable.h"
#include "yox/base/TimeZone.h"

namespace yox {
namespace {

// Reads a text from its beginning; what does not fit makes it bad, and it stays so.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  bool IsGood() const { return is_good_; }
  bool IsAtEnd() const { return rest_.empty(); }
  bool Take(char character) {
    const bool fits = rest_.starts_with(character);
    if (fits) rest_.remove_prefix(1);
    return fits;
  }
  void Require(bool condition) { is_good_ = is_good_ && condition; }

  int Number(std::size_t digits, int least, int most) {
    int number = 0;
    for (std::size_t i = 0; i < digits; ++i) {
      const bool fits = !rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9';
      Require(fits);
      if (!fits) return least;
      number = 10 * number + (rest_.front() - '0');
      rest_.remove_prefix(1);
    }
    Require(number >= least && number <= most);
    return number;
  }
  void SkipDigits() {
    while (!rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9') rest_.remove_prefix(1);
  }

 private:
  std::string_view rest_;
  bool is_good_ = true;
};

// 24:00 and leap seconds are not accepted.
std::int32_t SecondOfDay(Reader& reader) {
  std::int32_t seconds = reader.Number(2, 0, 23) * 3600;
  reader.Require(reader.Take(':'));
  seconds += reader.Number(2, 0, 59) * 60;
  if (!reader.Take(':')) return seconds;
  seconds += reader.Number(2, 0, 59);
  if (reader.Take('.')) {
    reader.Number(1, 0, 9);
    reader.SkipDigits();
  }
  return seconds;
}

std::int32_t Offset(Reader& reader) {
  if (reader.Take('Z')) return 0;
  const bool is_west = reader.Take('-');
  reader.Require(is_west || reader.Take('+'));
  std::int32_t seconds = reader.Number(2, 0, 23) * 3600;
  reader.Require(reader.Take(':'));
  seconds += reader.Number(2, 0, 59) * 60;
  return is_west ? -seconds : seconds;
}

}  // namespace

std::int64_t ReadMoment(std::string_view text) {
  Reader reader(text);
  LocalDate date;
  date.year = reader.Number(4, 1, 9999);
  reader.Require(reader.Take('-'));
  date.month = reader.Number(2, 1, 12);
  reader.Require(reader.Take('-'));
  date.day = reader.Number(2, 1, 31);
  reader.Require(reader.Take('T') || reader.Take(' '));
  const std::int32_t second_of_day = SecondOfDay(reader);
  const std::int32_t offset = Offset(reader);
  if (reader.IsGood() && reader.IsAtEnd()) {
    const std::int64_t moment = TimeZone().ToMoment(date, second_of_day);
    // A day that does not exist carries over into the next month.
    if (TimeZone().ToLocalDate(moment) == date) return moment - offset;
  }
  throw DocumentError(
      "expected a date and time with an offset, such as 2026-03-01T12:00:00+01:00, found \"" +
      Printable(std::string(text)) + "\"");
}

}  // namespace yox
