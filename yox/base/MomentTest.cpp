#include <gtest/gtest.h>

#include "yox/base/Document.h"
#include "yox/base/Moment.h"

namespace yox {
namespace {

constexpr std::int64_t kNoon = 1772366400;  // 2026-03-01T12:00:00Z

TEST(MomentTest, ReadsDateTimeAndOffset) {
  EXPECT_EQ(ReadMoment("2026-03-01T12:00:00Z"), kNoon);
  EXPECT_EQ(ReadMoment("2026-03-01T13:00:00+01:00"), kNoon);
  EXPECT_EQ(ReadMoment("2026-03-01T07:30:00-04:30"), kNoon);
  EXPECT_EQ(ReadMoment("2026-03-01 12:00Z"), kNoon);
  EXPECT_EQ(ReadMoment("2026-03-01T12:00:07.25Z"), kNoon + 7);
  EXPECT_EQ(ReadMoment("1969-12-31T23:59:59Z"), -1);
}

TEST(MomentTest, RefusesWhatIsNoMoment) {
  for (const char* const text :
       {"", "2026-03-01", "2026-03-01T12:00:00", "2026-02-29T12:00:00Z", "2026-03-01T24:00:00Z",
        "2026-3-1T12:00:00Z", "2026-03-01T12:00:00+1", "2026-03-01T12:00:00Zx",
        "2026-03-01T12:00:00.Z", "2026-13-01T12:00:00Z"}) {
    EXPECT_THROW(ReadMoment(text), DocumentError) << text;
  }
}

}  // namespace
}  // namespace yox
