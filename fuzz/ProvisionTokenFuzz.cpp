#include <string>

#include "yox/policy/ProvisionToken.h"

#include "fuzz/FuzzInput.h"

namespace {

// The tests' key; a seed contains a token that it signed.
constexpr std::string_view kPublicKey =
    "MFkwEwYHKoZIzj0CAQYIKoZIzj0DAQcDQgAEbyrnhdOHfV43BoeIS/1S0tDaFD3B4DUuNqMK8BbnA4Ia"
    "UxrvaEh3fRAcys66d69n/HnUGvQzp7MMKdF54XZV4g==";

std::string ToBase64Url(std::string_view bytes) {
  std::string text;
  unsigned bits = 0;
  int count = 0;
  const auto put = [&](unsigned digit) {
    text += "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"[digit & 0x3F];
  };
  for (const char byte : bytes) {
    bits = bits << 8 | static_cast<unsigned char>(byte);
    for (count += 8; count >= 6; count -= 6) put(bits >> (count - 6));
  }
  if (count > 0) put(bits << (6 - count));
  return text;
}

void Check(const std::string& token) {
  constexpr std::int64_t kNow = 1772366400;
  const std::string reason =
      yox::policy::RefusalOfToken(token, kPublicKey, kNow, yox::policy::TokenType::kProvision);
  FUZZ_CHECK(reason.size() < 64 && reason.find_first_of("\r\n{}\"") == std::string::npos);
  // A token that is valid has an end.
  if (reason.empty()) {
    FUZZ_CHECK(!yox::policy::RefusalOfToken(token, kPublicKey, kNow + (std::int64_t{1} << 62),
                                            yox::policy::TokenType::kProvision)
                    .empty());
  }
}

}  // namespace

// A token; or, after a line "parts", header, payload and signature as lines, to be encoded.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  yox_fuzz::FuzzInput input(data, size);
  if (input.Line() == "parts") {
    const std::string header = ToBase64Url(input.Line());
    const std::string payload = ToBase64Url(input.Line());
    Check(header + "." + payload + "." + ToBase64Url(input.Rest()));
  } else {
    Check(std::string(reinterpret_cast<const char*>(data), size));
  }
  return 0;
}
