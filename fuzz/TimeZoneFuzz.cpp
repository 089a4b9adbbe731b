#include <cstdint>

#include "yox/base/TimeZone.h"

#include "fuzz/FuzzInput.h"

// The text of a time zone; a moment of eight bytes after it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  yox_fuzz::FuzzInput input(data, size);
  const std::optional<yox::TimeZone> zone = yox::TimeZone::Parse(input.Line());
  if (!zone) return 0;
  FUZZ_CHECK(*zone == *zone);
  std::uint64_t bits = 0;
  for (const char byte : input.Rest().substr(0, 8))
    bits = bits << 8 | static_cast<unsigned char>(byte);
  const auto moment = static_cast<std::int64_t>(bits);
  zone->OffsetAt(moment);
  const yox::LocalDate date = zone->ToLocalDate(moment);
  FUZZ_CHECK(date.month >= 1 && date.month <= 12 && date.day >= 1 && date.day <= 31);

  // Within the years that people write, a day begins on itself.
  if (date.year < 1971 || date.year > 9000) return 0;
  const std::optional<std::int64_t> start = zone->StartOfLocalDay(date.year, date.month, date.day);
  FUZZ_CHECK(start.has_value());
  FUZZ_CHECK(*start <= moment + 86400 && moment - *start < 3 * 86400);
  return 0;
}
