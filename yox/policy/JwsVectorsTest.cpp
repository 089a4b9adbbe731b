#include <gtest/gtest.h>
#include <json/value.h>

#include <cstdint>
#include <string>

#include "yox/base/Base64.h"
#include "yox/base/Json.h"
#include "yox/policy/CompactJws.h"
#include "yox/policy/ProvisionToken.h"

#include "tests/support/PublishedData.h"
#include "tests/support/Rows.h"
#include "tests/support/SchemaPaths.h"

namespace {

Json::Value ParseLenient(const std::string& document) {
  return yox::ParseLenientJson(document).value();
}

// A value in DER: its tag, its length, its content.
std::string Der(char tag, const std::string& content) {
  std::string der(1, tag);
  if (content.size() < 0x80) {
    der += static_cast<char>(content.size());
  } else {
    der += '\x82';
    der += static_cast<char>(content.size() >> 8);
    der += static_cast<char>(content.size() & 0xFF);
  }
  return der + content;
}

std::string Bytes(const Json::Value& key, const char* member) {
  return yox::FromBase64Url(key[member].asString()).value();
}

std::string Number(const std::string& bytes) {
  const bool looks_negative = (static_cast<unsigned char>(bytes[0]) & 0x80) != 0;
  return Der(0x02, looks_negative ? std::string(1, '\0') + bytes : bytes);
}

// The key in the form that the library takes; empty for a key of another kind.
std::string PublicKey(const Json::Value& key) {
  const std::string kind = key["kty"].asString();
  std::string algorithm;
  std::string bits;
  if (kind == "EC" && key["crv"].asString() == "P-256") {
    algorithm =
        Der(0x06, "\x2A\x86\x48\xCE\x3D\x02\x01") + Der(0x06, "\x2A\x86\x48\xCE\x3D\x03\x01\x07");
    bits = "\x04" + Bytes(key, "x") + Bytes(key, "y");
  } else if (kind == "RSA") {
    algorithm = Der(0x06, "\x2A\x86\x48\x86\xF7\x0D\x01\x01\x01") + Der(0x05, "");
    bits = Der(0x30, Number(Bytes(key, "n")) + Number(Bytes(key, "e")));
  } else {
    return {};
  }
  return yox::ToBase64(Der(0x30, Der(0x30, algorithm) + Der(0x03, std::string(1, '\0') + bits)));
}

// What came of the vectors of one document.
struct Outcome {
  int ours = 0;    // texts under ES256 and RS256
  int others = 0;  // texts under other algorithms
  int valid = 0;   // texts that are valid by the document
};

// Expects of each vector for ES256 and RS256 what the document says, and of all others, whatever
// the document says, that they are refused. Left out are vectors that depend on what a key says of
// its own use or algorithm, which the form in which the library takes keys cannot say: keys for
// encryption, and RS256 signatures by RSA keys that are marked for another algorithm.
Outcome CheckVectors(const std::string& document) {
  Outcome outcome;
  const Json::Value vectors = ParseLenient(document);
  for (const Json::Value& group : vectors["testGroups"]) {
    const Json::Value& key = group.isMember("public") ? group["public"] : group["private"];
    const std::string comment = group["comment"].asString();
    if (comment == "rsa_encryption" || comment == "ec_key_for_encryption") continue;
    const std::string algorithm = key["alg"].asString();
    const bool is_ours = algorithm == "ES256" || algorithm == "RS256";
    for (const Json::Value& test : group["tests"]) {
      if (!is_ours && test["comment"].asString() == "UsingRS256") continue;
      SCOPED_TRACE(comment + " " + std::to_string(test["tcId"].asInt()) + " " +
                   test["comment"].asString());
      const bool expected = is_ours && test["result"].asString() == "valid";
      const auto jws = yox::policy::CheckCompactJws(test["jws"].asString(), PublicKey(key));
      EXPECT_EQ(jws.valid(), expected) << jws.reason;
      ++(is_ours ? outcome.ours : outcome.others);
      outcome.valid += expected ? 1 : 0;
    }
  }
  return outcome;
}

TEST(JwsVectorsTest, DecideAsGenerated) {
  const Outcome outcome = CheckVectors(yox_test::CheckoutFile("tests/trust/jws_vectors.json"));
  EXPECT_EQ(outcome.ours, 48);
  EXPECT_EQ(outcome.others, 80);
  EXPECT_EQ(outcome.valid, 7);
}

TEST(JwsVectorsTest, DecideAsPublished) {
  const Outcome outcome =
      CheckVectors(yox_test::PublishedData("signatures/json_web_signature_test.json"));
  EXPECT_GE(outcome.ours, 270);
  EXPECT_GE(outcome.others, 100);
  EXPECT_GE(outcome.valid, 8);
}

struct EndRow {
  const char* name;
  const char* reason;
};
class TokenEndTest : public testing::TestWithParam<EndRow> {};

TEST_P(TokenEndTest, HasBounds) {
  constexpr std::int64_t kNow = 1772366400;  // 2026-03-01T12:00:00Z
  const Json::Value vectors = ParseLenient(yox_test::CheckoutFile("tests/trust/jws_vectors.json"));
  const Json::Value& tokens = vectors["tokens"];
  EXPECT_EQ(
      yox::policy::RefusalOfToken(tokens[GetParam().name].asString(), tokens["key"].asString(),
                                  kNow, yox::policy::TokenType::kProvision),
      GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(Rows, TokenEndTest,
                         testing::Values(EndRow{"EndsInTheLastSecond", ""},
                                         EndRow{"EndsAfterTheLastSecond",
                                                "exp is after the year 9999"},
                                         EndRow{"EndIsHuge", "exp is after the year 9999"},
                                         EndRow{"EndIsNegative", "it has expired"}),
                         yox_test::RowName());

}  // namespace
