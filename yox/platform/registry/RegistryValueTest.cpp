#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST(RegistryValueTest, NumbersAreReadBackInTheirTypeAlone) {
  EXPECT_EQ(RegistryValue::Dword(0x89ABCDEF).AsDword(), 0x89ABCDEF);
  EXPECT_EQ(RegistryValue::Dword(1).AsQword(), std::nullopt);
  EXPECT_EQ(RegistryValue::Qword(0x0123456789ABCDEF).AsQword(), 0x0123456789ABCDEF);
  EXPECT_EQ(RegistryValue::Qword(1).AsDword(), std::nullopt);
}

}  // namespace
}  // namespace yox::platform
