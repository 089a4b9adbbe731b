#include <gtest/gtest.h>

#include "host/yoxd/ResponseHeaders.h"

namespace yoxd {
namespace {

using std::chrono::seconds;

TEST(ResponseHeadersTest, NamesAreReadInAnyLetterCase) {
  ResponseHeaders headers;
  for (const char* const line :
       {"HTTP/1.1 200 OK\r\n", "eTaG: \"a:B\" \r\n",
        "LAST-MODIFIED:Sun, 01 Mar 2026 12:00:00 GMT\r\n", "X-Etag: other\r\n",
        "Cache-Control: Public, Max-Age=90\r\n", "\r\n"}) {
    headers.Read(line);
  }
  EXPECT_EQ(headers.etag, "\"a:B\"");
  EXPECT_EQ(headers.last_modified, "Sun, 01 Mar 2026 12:00:00 GMT");
  EXPECT_EQ(headers.max_age, seconds(90));
}

TEST(ResponseHeadersTest, TheAgeIsReadFromCacheControl) {
  struct Row {
    const char* value;
    std::optional<seconds> age;
  };
  for (const Row& row :
       {Row{"max-age=0", seconds(0)}, Row{"max-age=3600, private", seconds(3'600)},
        Row{"no-cache", seconds(0)}, Row{"no-store, max-age=3600", seconds(0)},
        Row{"public", std::nullopt}, Row{"max-age=", std::nullopt}, Row{"max-age=x", std::nullopt},
        Row{"max-age=-1", std::nullopt}, Row{"max-age=99999999999999999999", std::nullopt},
        Row{"", std::nullopt}}) {
    ResponseHeaders headers;
    headers.Read("Cache-Control: " + std::string(row.value));
    EXPECT_EQ(headers.max_age, row.age) << row.value;
  }
}

TEST(ResponseHeadersTest, TheNextFetchIsWithinAMinuteAndAWeek) {
  constexpr seconds kInterval{43'200};
  EXPECT_EQ(FetchAgainAfter(std::nullopt, kInterval), kInterval);
  EXPECT_EQ(FetchAgainAfter(seconds(0), kInterval), seconds(60));
  EXPECT_EQ(FetchAgainAfter(seconds(59), kInterval), seconds(60));
  EXPECT_EQ(FetchAgainAfter(seconds(61), kInterval), seconds(61));
  EXPECT_EQ(FetchAgainAfter(seconds(604'799), kInterval), seconds(604'799));
  EXPECT_EQ(FetchAgainAfter(seconds(604'801), kInterval), seconds(604'800));
}

}  // namespace
}  // namespace yoxd
