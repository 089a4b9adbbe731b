#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "yox/platform/registry/Registry.h"

namespace yox::platform {
namespace {

using namespace yox::literals;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(RegistryValueTest, SeveralTextsAreReadBack) {
  const std::vector<WString> texts = {"A"_w, "größe"_w, "C"_w};
  EXPECT_EQ(RegistryValue::MultiText(texts).Texts(), texts);
  EXPECT_EQ(RegistryValue::MultiText(texts).FirstText(), "A"_w);
  EXPECT_THAT(RegistryValue::Text("A"_wv).Texts(), ElementsAre("A"_w));
  EXPECT_THAT(RegistryValue::MultiText({}).Texts(), IsEmpty());
}

TEST(RegistryValueTest, ATextEndsWithItsBytesAndIgnoresAnOddOne) {
  const auto text = [](std::vector<std::uint8_t> bytes) {
    return RegistryValue{RegistryType::kText, std::move(bytes)}.FirstText();
  };
  EXPECT_EQ(text({}), ""_w);
  EXPECT_EQ(text({'a'}), ""_w);
  EXPECT_EQ(text({'a', 0}), "a"_w);
  EXPECT_EQ(text({'a', 0, 'b'}), "a"_w);
  EXPECT_EQ(text({'a', 0, 'b', 0}), "ab"_w);
  EXPECT_EQ(text({'a', 0, 0, 0, 'b', 0}), "a"_w);
  EXPECT_EQ(text({0x22, 0x6f, 1, 0}), "\u6f22\x01"_w);
}

TEST(RegistryValueTest, ANumberHasItsTypeAndItsSize) {
  const auto dword = [](RegistryType type, std::size_t size) {
    return RegistryValue{type, std::vector<std::uint8_t>(size)}.AsDword();
  };
  EXPECT_EQ(dword(RegistryType::kDword, 4), 0U);
  EXPECT_EQ(dword(RegistryType::kDword, 3), std::nullopt);
  EXPECT_EQ(dword(RegistryType::kDword, 5), std::nullopt);
  EXPECT_EQ(dword(RegistryType::kBinary, 4), std::nullopt);
}

TEST(RegistryValueTest, NumbersAreReadBackInTheirTypeAlone) {
  EXPECT_EQ(RegistryValue::Dword(0x89ABCDEF).AsDword(), 0x89ABCDEF);
  EXPECT_EQ(RegistryValue::Dword(1).AsQword(), std::nullopt);
  EXPECT_EQ(RegistryValue::Qword(0x0123456789ABCDEF).AsQword(), 0x0123456789ABCDEF);
  EXPECT_EQ(RegistryValue::Qword(1).AsDword(), std::nullopt);
}

}  // namespace
}  // namespace yox::platform
