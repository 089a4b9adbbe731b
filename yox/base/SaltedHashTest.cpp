#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "yox/base/SaltedHash.h"
#include "yox/base/Sha256.h"

namespace {

using YOX::utility::SHA256WithSalt;

std::string Hex(const yox::Sha256Digest& digest) {
  std::string text;
  for (const unsigned byte : digest) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 0xF];
  }
  return text;
}

// FIPS 180-4 examples.
TEST(Sha256Test, AgreesWithThePublishedExamples) {
  EXPECT_EQ(Hex(yox::Sha256("abc")),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Hex(yox::Sha256("")),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Hex(yox::Sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

// Golden: every roll-out hangs on these. Do not edit.
constexpr const char* kGolden[][2] = {
    {"", "f7b6cc2e1372bb4663bbceb9a25531bcceb5ae6659d446b0181bdb49f24ea3bb"},
    {"C0FFEE12", "ad9c6659cd4bcc145479e2002bc3652905e47723ba07a58530512d202b3c2ec2"},
    {"c0ffee12", "98c5e28a26e5c639ea234aa4038fe48c69f48637067ca6cc544b1538368d14e2"},
    {"contoso", "cb8dfa0dd0ad47a8ea63737574ed370db67ef73c8718ba039314a92e2cd6ea12"},
    {"PF0ABCDE", "37dedc32b98da7ea01721638ddb17645f0b22e411593cffc1b17867fbfa1fdd8"},
    {"SN-000001", "1176898d34134262e4a3d313bd01e1041e354006743d49ea12c905a682351a66"},
    {"5CD1234XYZ", "c9ad9727786551aee08d3835d6de5610a211cdd10cce791bb56a2b8afc0bcf5d"},
    {"größe", "1a1d58e45e20c53f5c88431a32bfbb667c61876090cb423ca5220ff550c64b06"},
    {"0", "8b901c0759da4ea01008123a7b6a4c446bc92be32a13a7d2d64a21516b5ecdf8"},
    {"To Be Filled By O.E.M.", "7ccb4ba06ddb4e661f35533337466a45a7e405f008dd00b32c32ecad012978d8"},
};

TEST(SaltedHashTest, IsTheSameForever) {
  for (const auto& [text, hash] : kGolden) EXPECT_EQ(SHA256WithSalt(text), hash) << text;
}

TEST(SaltedHashTest, AlternatingTextsKeepTheirOwnHashes) {
  const std::string first = SHA256WithSalt("first");
  const std::string second = SHA256WithSalt("second");
  EXPECT_NE(first, second);
  EXPECT_EQ(SHA256WithSalt("first"), first);
  EXPECT_EQ(SHA256WithSalt("second"), second);
  EXPECT_EQ(SHA256WithSalt(std::string("first\0", 6)).size(), 64U);
  EXPECT_NE(SHA256WithSalt(std::string("first\0", 6)), first);
}

TEST(SaltedHashTest, ThreadsAgree) {
  const std::string mine = SHA256WithSalt("C0FFEE12");
  std::string theirs;
  std::thread([&] { theirs = SHA256WithSalt("C0FFEE12"); }).join();
  EXPECT_EQ(theirs, mine);
}

}  // namespace
