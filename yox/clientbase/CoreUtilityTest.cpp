#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "yox/base/Base64.h"
#include "yox/base/Pem.h"
#include "yox/base/String.h"
#include "yox/clientbase/CoreUtility.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/crypto/Certificates.h"
#include "yox/platform/crypto/PemCleaning.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/PathText.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/Rows.h"
#include "tests/trust/Material.h"

namespace {

using YOX::CoreUtility;
using yox::WString;
using namespace yox::literals;
using namespace yox_test;

constexpr std::int64_t kNow = 1772366400;         // 2026-03-01T12:00:00Z
constexpr std::int64_t kExpiredEnd = 1435665600;  // 2015-06-30T12:00:00Z

const std::string kA = kRootACertificate;
const std::string kB = kRootBCertificate;
const std::string kOld = kExpiredCertificate;

std::string DerOf(const std::string& pem) { return yox::ReadPem(pem).value().at(0).der; }

TEST(CertificatesTest, EndIsReadToTheSecond) {
  EXPECT_EQ(yox::platform::CertificateEnd(DerOf(kOld)), kExpiredEnd);
  EXPECT_EQ(yox::platform::CertificateEnd(DerOf(kA)), 2429913599);  // 2046-12-31T23:59:59Z
}

TEST(CertificatesTest, BytesThatAreNoCertificateHaveNoEnd) {
  const std::string der = DerOf(kA);
  for (const std::string& bytes :
       {std::string(), std::string("\x30\x00", 2), der.substr(1), der.substr(0, der.size() - 1)}) {
    EXPECT_EQ(yox::platform::CertificateEnd(bytes), std::nullopt);
  }
}

TEST(PemTest, BlocksAreFoundBetweenOtherText) {
  const std::string text = "a chain\n" + kA + "\nsubject=B\n" + kB + "behind";
  const auto blocks = yox::ReadPem(text);
  ASSERT_TRUE(blocks);
  ASSERT_EQ(blocks->size(), 2U);
  EXPECT_EQ(text.substr((*blocks)[0].begin, (*blocks)[0].end - (*blocks)[0].begin), kA);
  EXPECT_EQ(text.substr((*blocks)[1].begin, (*blocks)[1].end - (*blocks)[1].begin), kB);
  EXPECT_TRUE((*blocks)[0].IsCertificate());
}

TEST(PemTest, LineBreaksOfEitherKindAndNoneAtTheEnd) {
  std::string windows;
  for (const char c : kA) windows += c == '\n' ? std::string("\r\n") : std::string(1, c);
  EXPECT_EQ(DerOf(windows), DerOf(kA));
  EXPECT_EQ(DerOf(kA.substr(0, kA.size() - 1)), DerOf(kA));
  EXPECT_TRUE(yox::ReadPem("").value().empty());
  EXPECT_TRUE(yox::ReadPem("no block at all").value().empty());
}

std::string Block(const std::string& label, const std::string& body) {
  return "-----BEGIN " + label + "-----\n" + body + "\n-----END " + label + "-----\n";
}

struct BadPem {
  const char* name;
  std::string text;
};

class BadPemTest : public testing::TestWithParam<BadPem> {};

TEST_P(BadPemTest, IsRefusedAsAWholeAlone) {
  EXPECT_FALSE(yox::ReadPem(GetParam().text));
  EXPECT_FALSE(yox::ReadPem(kA + GetParam().text + kB));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BadPemTest,
    testing::Values(BadPem{"Unfinished", "-----BEGIN CERTIFICATE-----\nMAA=\n"},
                    BadPem{"EndAlone", "-----END CERTIFICATE-----\n"},
                    BadPem{"OtherLabelAtTheEnd",
                           "-----BEGIN CERTIFICATE-----\nMAA=\n-----END X509 CERTIFICATE-----\n"},
                    BadPem{"BorderCutShort", "-----BEGIN CERTIFICATE\nMAA=\n"},
                    BadPem{"NotBase64", Block("CERTIFICATE", "M?A=")},
                    BadPem{"Empty", Block("CERTIFICATE", "")},
                    BadPem{"NotDer", Block("CERTIFICATE", "AAAA")},
                    BadPem{"DerTooLong", Block("CERTIFICATE", "MAAA")},
                    BadPem{"DerTooShort", Block("CERTIFICATE",
                                                "MAEA"
                                                "MAEA")},
                    BadPem{"IndefiniteLength", Block("CERTIFICATE", "MIAAAA==")},
                    BadPem{"LengthCutShort", Block("CERTIFICATE", "MII=")},
                    BadPem{"HeadersInside",
                           Block("RSA PRIVATE KEY", "Proc-Type: 4,ENCRYPTED\n\nMAA=")}),
    yox_test::RowName());

class CoreUtilityTest : public testing::Test {
 protected:
  void Write(std::string_view content) {
    FileSystem::OpenToWrite(Wide(), std::ios::out | std::ios::binary) << content;
  }
  std::string Read() {
    std::ifstream stream = FileSystem::OpenToRead(Wide());
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  std::string Path() { return YOX::String::UTF16ToUTF8(Wide()); }
  WString Wide() { return yox::platform::ToText(device_.files().folder() / "chain.pem"); }
  bool Validates(std::string_view content) {
    Write(content);
    return CoreUtility::ValidatePemFile(Path());
  }
  // What cleaning leaves, or "false".
  std::string Cleaned(std::string_view content) {
    Write(content);
    return CoreUtility::RemoveExpiredAndDuplicateCertsFromFile(Path()) ? Read() : "false";
  }

  yox::platform::SimulatedDevice device_{
      yox::platform::ReadDeviceProfile(R"({"clock": {"now": "2026-03-01T12:00:00"}})")};
  yox::platform::ScopedPlatform installed_{device_};
};

TEST_F(CoreUtilityTest, UsableFileHoldsACertificateAndNothingBroken) {
  EXPECT_TRUE(Validates(kA));
  EXPECT_TRUE(Validates("# comment\n" + kA + kB));
  EXPECT_TRUE(Validates(kA + kServerKey));
  EXPECT_FALSE(Validates(""));
  EXPECT_FALSE(Validates("garbage"));
  EXPECT_FALSE(Validates(kServerKey));
  EXPECT_FALSE(Validates(kA + Block("CERTIFICATE", "MAA=")));
  EXPECT_FALSE(Validates(kA + Block("CERTIFICATE", "garbage")));
  EXPECT_FALSE(Validates(kA.substr(0, kA.size() - 30)));
}

TEST_F(CoreUtilityTest, MissingFileIsNeitherUsableNorCleaned) {
  EXPECT_FALSE(CoreUtility::ValidatePemFile(Path()));
  EXPECT_FALSE(CoreUtility::RemoveExpiredAndDuplicateCertsFromFile(Path()));
  EXPECT_FALSE(FileSystem::fileExists(Wide()));
}

TEST_F(CoreUtilityTest, ExpiredAndRepeatedOnesGoAndTheRestKeepsItsOrderAndBytes) {
  EXPECT_EQ(Cleaned("1\n" + kA + "2\n" + kOld + "3\n" + kB + "4\n" + kA + "5"),
            "1\n" + kA + "2\n" + "3\n" + kB + "4\n" + "5");
}

TEST_F(CoreUtilityTest, FileWithNothingToCleanStaysUntouched) {
  const std::string content = kA + "\r\n \n" + kB + kServerKey + "rest without line break";
  Write(content);
  const auto before = std::filesystem::last_write_time(FileSystem::Locate(Wide()));
  EXPECT_TRUE(CoreUtility::RemoveExpiredAndDuplicateCertsFromFile(Path()));
  EXPECT_EQ(Read(), content);
  EXPECT_EQ(std::filesystem::last_write_time(FileSystem::Locate(Wide())), before);
  EXPECT_EQ(Cleaned(""), "");
}

TEST_F(CoreUtilityTest, RepeatsOfOtherBlocksStay) {
  EXPECT_EQ(Cleaned(kA + kServerKey + kServerKey + kA), kA + kServerKey + kServerKey);
}

TEST_F(CoreUtilityTest, FileOfExpiredOnesValidatesAndIsEmptied) {
  EXPECT_TRUE(Validates(kOld + kOld));
  EXPECT_EQ(Cleaned(kOld + kOld), "");
}

TEST_F(CoreUtilityTest, CertificateIsGoodThroughItsLastSecond) {
  EXPECT_EQ(yox::platform::CleanPem(kOld, kExpiredEnd), kOld);
  EXPECT_EQ(yox::platform::CleanPem(kOld, kExpiredEnd + 1), "");
  device_.clock().Set(kExpiredEnd);
  EXPECT_EQ(Cleaned(kOld), kOld);
  device_.clock().Set(kNow);
  EXPECT_EQ(Cleaned(kOld), "");
}

TEST_F(CoreUtilityTest, FileThatCannotBeReadAsPemStaysUntouched) {
  for (const std::string& broken :
       {Block("CERTIFICATE", "MAA="), std::string("-----BEGIN CERTIFICATE-----\n")}) {
    const std::string content = kOld + kA + kA + broken;
    EXPECT_EQ(Cleaned(content), "false");
    EXPECT_EQ(Read(), content);
  }
}

TEST_F(CoreUtilityTest, NothingIsLeftBesideACleanedFile) {
  EXPECT_EQ(Cleaned(kA + kA), kA);
  std::size_t files = 0;
  for ([[maybe_unused]] const auto& entry :
       std::filesystem::directory_iterator(device_.files().folder())) {
    ++files;
  }
  EXPECT_EQ(files, 1U);
}

TEST_F(CoreUtilityTest, FileThatIsTooLongIsRefused) {
  std::string content = kA + kA;
  content.resize((std::size_t{16} << 20) + 1, ' ');
  EXPECT_EQ(Cleaned(content), "false");
  EXPECT_FALSE(CoreUtility::ValidatePemFile(Path()));
}

}  // namespace
