#include <gtest/gtest.h>
#include <json/value.h>

#include <string>

#include "yox/base/StrictJson.h"
#include "yox/policy/CompactJws.h"
#include "yox/policy/ProvisionToken.h"

#include "tests/support/Rows.h"
#include "tests/support/SchemaPaths.h"
#include "tests/trust/Material.h"

namespace {

using yox::policy::CheckCompactJws;
using yox::policy::RefusalOfToken;
using yox::policy::TokenType;
using namespace yox_test;

constexpr std::int64_t kNow = 1772366400;  // 2026-03-01T12:00:00Z

std::string Token(std::string_view name) {
  for (const SignedToken& token : kTokens) {
    if (name == token.name) return token.text;
  }
  ADD_FAILURE() << "no token " << name;
  return {};
}

std::string Refusal(const std::string& token, const char* key = kEs256PublicKey) {
  return RefusalOfToken(token, key, kNow, TokenType::kProvision);
}

struct TokenRow {
  const char* name;
  const char* reason;
};

class SignedTokenTest : public testing::TestWithParam<TokenRow> {};

TEST_P(SignedTokenTest, IsAcceptedOrRefusedWithItsReason) {
  EXPECT_EQ(Refusal(Token(GetParam().name)), GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SignedTokenTest,
    testing::Values(TokenRow{"Valid", ""}, TokenRow{"WithoutNotBefore", ""},
                    TokenRow{"FractionalTimes", ""}, TokenRow{"NamedKey", ""},
                    TokenRow{"EndsInASecond", ""}, TokenRow{"BeginsNow", ""},
                    TokenRow{"EndsNow", "it has expired"},
                    TokenRow{"BeginsInASecond", "it is not valid yet"},
                    TokenRow{"NoEnd", "exp is missing or not a number"},
                    TokenRow{"EndIsText", "exp is missing or not a number"},
                    TokenRow{"BeginIsText", "nbf is not a number"},
                    TokenRow{"NoType", "token_type is another one"},
                    TokenRow{"OtherType", "token_type is another one"},
                    TokenRow{"TypeIsArray", "token_type is another one"},
                    TokenRow{"PayloadIsArray", "the payload is not a JSON object"},
                    TokenRow{"PayloadIsText", "the payload is not a JSON object"},
                    TokenRow{"EndTwice", "the payload is not a JSON object"},
                    TokenRow{"BringsKey", "the header has the member jwk"},
                    TokenRow{"BringsKeyAddress", "the header has the member jku"},
                    TokenRow{"BringsCertificates", "the header has the member x5c"},
                    TokenRow{"BringsCertificateAddress", "the header has the member x5u"},
                    TokenRow{"Critical", "the header has the member crit"},
                    TokenRow{"AlgorithmInLowerCase", "the algorithm is neither ES256 nor RS256"},
                    TokenRow{"AlgorithmIsArray", "the algorithm is neither ES256 nor RS256"},
                    TokenRow{"NoAlgorithm", "the algorithm is neither ES256 nor RS256"},
                    TokenRow{"AlgorithmHmac", "the algorithm is neither ES256 nor RS256"},
                    TokenRow{"AlgorithmNone", "the algorithm is neither ES256 nor RS256"},
                    TokenRow{"AlgorithmTwice", "the header is not a JSON object"},
                    TokenRow{"HeaderIsArray", "the header is not a JSON object"},
                    TokenRow{"OfAnotherKey", "the signature does not match"},
                    TokenRow{"OfAnotherCurve", "the signature does not match"},
                    TokenRow{"DerSignature", "the signature does not match"}),
    yox_test::RowName());

TEST(ProvisionTokenTest, TheLatestEndIsThatOfTheYear9999) {
  EXPECT_EQ(Refusal(Token("EndsAtTheLatest"), kLatestPublicKey), "");
  EXPECT_EQ(Refusal(Token("EndsAfterTheLatest"), kLatestPublicKey), "exp is after the year 9999");
}

TEST(ProvisionTokenTest, RsaKeyVerifiesItsOwnAlgorithmAlone) {
  EXPECT_EQ(Refusal(Token("ValidRsa"), kRs256PublicKey), "");
  EXPECT_EQ(Refusal(Token("ValidRsa")), "the key does not fit the algorithm");
  EXPECT_EQ(Refusal(Token("Valid"), kRs256PublicKey), "the key does not fit the algorithm");
}

TEST(ProvisionTokenTest, KeyOnAnotherCurveOrTooShortIsRefused) {
  EXPECT_EQ(Refusal(Token("OfAnotherCurve"), kP384PublicKey), "the key does not fit the algorithm");
  EXPECT_EQ(Refusal(Token("ValidRsa"), kRsa1024PublicKey), "the key does not fit the algorithm");
  EXPECT_EQ(Refusal(Token("Valid"), ""), "the key does not fit the algorithm");
  EXPECT_EQ(Refusal(Token("Valid"), "not base64"), "the key does not fit the algorithm");
}

TEST(ProvisionTokenTest, MalformedTextsAreRefused) {
  const std::string token = Token("Valid");
  const std::size_t first = token.find('.');
  const std::size_t second = token.find('.', first + 1);
  EXPECT_EQ(Refusal(""), "it is empty");
  EXPECT_EQ(Refusal("a"), "it does not have three parts");
  EXPECT_EQ(Refusal(token.substr(0, second)), "it does not have three parts");
  EXPECT_EQ(Refusal(token + "."), "it does not have three parts");
  EXPECT_EQ(Refusal(token + "="), "a part is not base64url");
  EXPECT_EQ(Refusal(token + "\n"), "a part is not base64url");
  EXPECT_EQ(Refusal(" " + token), "a part is not base64url");
  EXPECT_EQ(Refusal(token.substr(0, first) + ".!" + token.substr(second)),
            "a part is not base64url");
  EXPECT_EQ(Refusal(token.substr(0, second + 1) + "."), "it does not have three parts");
  EXPECT_EQ(Refusal(token.substr(0, first + 1) + token.substr(second)),
            "the signature does not match");
  EXPECT_EQ(Refusal(token.substr(first)), "the header is not a JSON object");
  EXPECT_EQ(Refusal(token.substr(0, second + 1)), "the signature does not match");
  // Without a signature, and saying so.
  EXPECT_EQ(Refusal("eyJhbGciOiJub25lIn0" + token.substr(first, second + 1 - first)),
            "the algorithm is neither ES256 nor RS256");
  EXPECT_EQ(Refusal(token.substr(0, first) + ".e30" + token.substr(second)),
            "the signature does not match");
}

TEST(ProvisionTokenTest, LongestTokenIsBounded) {
  EXPECT_EQ(Refusal(std::string(yox::policy::kLongestJws, 'a')), "it does not have three parts");
  EXPECT_EQ(Refusal(std::string(yox::policy::kLongestJws + 1, 'a')),
            "it is longer than 16384 bytes");
  EXPECT_EQ(Refusal(std::string(100'000'000, '.')), "it is longer than 16384 bytes");
}

TEST(ProvisionTokenTest, TheSchemaHasTheSameBound) {
  const Json::Value schema =
      yox::ParseDocument(yox_test::CheckoutFile("schemas/provision-file.schema.json"));
  EXPECT_EQ(schema["properties"]["provision_token"]["maxLength"].asUInt64(),
            yox::policy::kLongestJws);
}

TEST(ProvisionTokenTest, ReasonsShowNothingOfTheToken) {
  for (const SignedToken& token : kTokens) {
    const std::string reason = Refusal(token.text);
    EXPECT_LT(reason.size(), 60U);
    EXPECT_EQ(reason.find("device"), std::string::npos);
    EXPECT_EQ(reason.find(std::string(token.text).substr(0, 8)), std::string::npos);
  }
}

TEST(CompactJwsTest, PayloadIsReturnedOnceTheSignatureMatches) {
  const auto jws = CheckCompactJws(Token("PayloadIsText"), kEs256PublicKey);
  EXPECT_TRUE(jws.valid());
  EXPECT_EQ(jws.payload, "not JSON");
  const auto refused = CheckCompactJws(Token("OfAnotherKey"), kEs256PublicKey);
  EXPECT_FALSE(refused.valid());
  EXPECT_EQ(refused.payload, "");
}

}  // namespace
