#include <gtest/gtest.h>

#include <string>

#include "yox/base/Base64.h"
#include "yox/platform/crypto/Signatures.h"

#include "tests/trust/Material.h"

namespace {

using yox::platform::SignatureScheme;
using yox::platform::SignatureVerdict;
using namespace yox_test;

std::string Decoded(const char* base64) { return yox::FromBase64(base64).value(); }

SignatureVerdict Verify(SignatureScheme scheme, const std::string& key,
                        const std::string& signature, const std::string& message = kSignedMessage) {
  return yox::platform::VerifySignature(scheme, key, message, signature);
}

struct Scheme {
  SignatureScheme scheme;
  const char* key;
  const char* signature;
};
constexpr Scheme kSchemes[] = {
    {SignatureScheme::kEs256, kEs256PublicKey, kEs256Signature},
    {SignatureScheme::kRs256, kRs256PublicKey, kRs256Signature},
};

TEST(SignaturesTest, SignatureOfTheKeyIsValidForItsMessageAlone) {
  for (const auto& [scheme, key, signature] : kSchemes) {
    EXPECT_EQ(Verify(scheme, Decoded(key), Decoded(signature)), SignatureVerdict::kValid);
    EXPECT_EQ(Verify(scheme, Decoded(key), Decoded(signature), "another message"),
              SignatureVerdict::kInvalid);
    EXPECT_EQ(Verify(scheme, Decoded(key), Decoded(signature), ""), SignatureVerdict::kInvalid);
  }
}

TEST(SignaturesTest, EveryFlippedBitOrOtherLengthIsInvalid) {
  for (const auto& [scheme, key, base64] : kSchemes) {
    const std::string signature = Decoded(base64);
    for (std::size_t i = 0; i < signature.size(); i += 7) {
      std::string flipped = signature;
      flipped[i] = static_cast<char>(flipped[i] ^ 1);
      EXPECT_EQ(Verify(scheme, Decoded(key), flipped), SignatureVerdict::kInvalid) << i;
    }
    EXPECT_EQ(Verify(scheme, Decoded(key), ""), SignatureVerdict::kInvalid);
    EXPECT_EQ(Verify(scheme, Decoded(key), signature + '\0'), SignatureVerdict::kInvalid);
    EXPECT_EQ(Verify(scheme, Decoded(key), '\0' + signature), SignatureVerdict::kInvalid);
    EXPECT_EQ(Verify(scheme, Decoded(key), signature.substr(1)), SignatureVerdict::kInvalid);
    EXPECT_EQ(Verify(scheme, Decoded(key), std::string(signature.size(), '\0')),
              SignatureVerdict::kInvalid);
    EXPECT_EQ(Verify(scheme, Decoded(key), std::string(signature.size(), '\xFF')),
              SignatureVerdict::kInvalid);
  }
}

TEST(SignaturesTest, KeyOfAnotherKindCurveOrLengthIsUnusable) {
  EXPECT_EQ(Verify(SignatureScheme::kEs256, Decoded(kRs256PublicKey), Decoded(kRs256Signature)),
            SignatureVerdict::kUnusableKey);
  EXPECT_EQ(Verify(SignatureScheme::kRs256, Decoded(kEs256PublicKey), Decoded(kEs256Signature)),
            SignatureVerdict::kUnusableKey);
  EXPECT_EQ(Verify(SignatureScheme::kEs256, Decoded(kP384PublicKey), Decoded(kP384Signature)),
            SignatureVerdict::kUnusableKey);
  EXPECT_EQ(Verify(SignatureScheme::kRs256, Decoded(kRsa1024PublicKey), Decoded(kRsa1024Signature)),
            SignatureVerdict::kUnusableKey);
}

TEST(SignaturesTest, BytesThatAreNoKeyAreUnusable) {
  for (const auto& [scheme, base64, signature] : kSchemes) {
    const std::string key = Decoded(base64);
    for (const std::string& bytes :
         {std::string(), std::string("key"), key.substr(1), key.substr(0, key.size() - 1)}) {
      EXPECT_EQ(Verify(scheme, bytes, Decoded(signature)), SignatureVerdict::kUnusableKey);
    }
  }
}

// Some systems find out while reading the key, others while checking with it.
TEST(SignaturesTest, PointOffTheCurveVerifiesNothing) {
  std::string key = Decoded(kEs256PublicKey);
  key.back() = static_cast<char>(key.back() ^ 1);
  EXPECT_NE(Verify(SignatureScheme::kEs256, key, Decoded(kEs256Signature)),
            SignatureVerdict::kValid);
}

}  // namespace
