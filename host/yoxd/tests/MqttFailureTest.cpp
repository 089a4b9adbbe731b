#include <gtest/gtest.h>
#include <mosquitto.h>

#include <cerrno>

#include "host/yoxd/MqttFailure.h"

namespace yoxd {
namespace {

TEST(MqttFailureTest, AnErrorOfTheSystemIsInTheSystemsWords) {
  EXPECT_EQ(MqttFailure(MOSQ_ERR_ERRNO, EPROTO),
            "TLS: the broker ended the connection; it may require a client certificate");
  EXPECT_EQ(MqttFailure(MOSQ_ERR_ERRNO, ENOENT), std::system_category().message(ENOENT));
  EXPECT_EQ(MqttFailure(MOSQ_ERR_CONN_LOST, ENOENT), mosquitto_strerror(MOSQ_ERR_CONN_LOST));
}

TEST(MqttFailureTest, CodesOfTheTlsLibraryAreLeftOut) {
  EXPECT_EQ(TlsFailure("OpenSSL Error[0]: error:0A00045C:SSL routines::tlsv13 alert certificate "
                       "required"),
            "TLS: tlsv13 alert certificate required");
  EXPECT_EQ(
      TlsFailure("OpenSSL Error[0]: error:0A000126:SSL routines::unexpected eof while reading"),
      "the broker ended the connection");
  EXPECT_EQ(TlsFailure("Error: host name verification failed."),
            "Error: host name verification failed.");
}

}  // namespace
}  // namespace yoxd
