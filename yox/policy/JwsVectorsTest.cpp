#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include <memory>
#include <string>

#include "yox/base/Base64.h"
#include "yox/policy/CompactJws.h"

#include "tests/support/PublishedData.h"

namespace {

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

// The key as the library takes it; empty for one of another kind.
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

// Every published vector: those for ES256 and RS256 decide as published, all others are refused,
// whatever their own algorithm would say. Left out are those that turn on what a key says of its
// own use or algorithm, which has no place in the form in which the library takes keys: keys for
// encryption, and RS256 signatures by RSA keys that are marked for another algorithm.
TEST(JwsVectorsTest, DecideAsPublishedForOurAlgorithmsAndAreRefusedForOthers) {
  const auto published = yox_test::PublishedData("jws/json_web_signature_test.json");
  if (!published) GTEST_SKIP() << "no published vectors beside the checkout";
  Json::Value vectors;
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  ASSERT_TRUE(
      reader->parse(published->data(), published->data() + published->size(), &vectors, nullptr));
  int ours = 0;
  int others = 0;
  int valid = 0;
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
      ++(is_ours ? ours : others);
      valid += expected ? 1 : 0;
    }
  }
  EXPECT_GE(ours, 270);
  EXPECT_GE(others, 100);
  EXPECT_GE(valid, 8);
}

}  // namespace
