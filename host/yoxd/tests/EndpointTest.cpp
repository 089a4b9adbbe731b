#include <gtest/gtest.h>

#include "host/yoxd/Endpoint.h"

namespace yoxd {
namespace {

TEST(EndpointTest, AHostAndAPortAreRead) {
  struct Row {
    const char* uri;
    const char* host;
    int port;
  };
  for (const Row& row : {Row{"mqtts://broker.example", "broker.example", 8883},
                         Row{"mqtts://broker.example/", "broker.example", 8883},
                         Row{"mqtts://broker.example:1", "broker.example", 1},
                         Row{"mqtts://192.0.2.7:65535", "192.0.2.7", 65'535},
                         Row{"mqtts://[2001:db8::7]", "2001:db8::7", 8883},
                         Row{"mqtts://[2001:db8::7]:884", "2001:db8::7", 884}}) {
    const auto endpoint = Endpoint::FromUri(row.uri);
    ASSERT_TRUE(endpoint) << row.uri;
    EXPECT_EQ(endpoint->host, row.host) << row.uri;
    EXPECT_EQ(endpoint->port, row.port) << row.uri;
  }
}

TEST(EndpointTest, AnyOtherFormIsRefused) {
  for (const char* const uri :
       {"", "mqtts://", "mqtt://h", "tcp://h", "h:8883", "mqtts://h:", "mqtts://h:0",
        "mqtts://h:65536", "mqtts://h:-1", "mqtts://h:8883x", "mqtts://h:8 883", "mqtts://u@h",
        "mqtts://h/path", "mqtts://h?q", "mqtts://h h", "mqtts://:8883", "mqtts://[::1",
        "mqtts://[::1]8883", "mqtts://[]"}) {
    EXPECT_FALSE(Endpoint::FromUri(uri)) << uri;
  }
}

}  // namespace
}  // namespace yoxd
