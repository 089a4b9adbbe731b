#include <gtest/gtest.h>

#include "yox/tags/GpuTagGenerator.h"

#include "tests/support/Rows.h"

namespace {

using namespace yox::literals;
using yox::WString;

struct Row {
  const char* name;
  std::vector<WString> adapters;
  std::vector<WString> tags;
};
class GpuTags : public testing::TestWithParam<Row> {};

TEST_P(GpuTags, AreThoseOfTheAdapters) {
  std::vector<WString> expected;
  for (const WString& tag : GetParam().tags) expected.push_back("Device.Hardware.Gpu."_w + tag);
  EXPECT_EQ(GpuTagGenerator::GenerateGpuTags(GetParam().adapters), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GpuTags,
    testing::Values(Row{"NoAdapterHasNoTag", {}, {}},
                    Row{"LetterCaseDoesNotMatter", {"intel(r) arc"_w}, {"Exists"_w, "Intel"_w}},
                    Row{"TheFirstMakerDecides", {"NVIDIA on Intel"_w}, {"Exists"_w, "Intel"_w}},
                    Row{"UnknownMakersAreOthers", {"Contoso"_w}, {"Exists"_w, "Others"_w}},
                    Row{"DuplicatesStay",
                        {"NVIDIA A"_w, "nvidia B"_w, "AMD"_w},
                        {"Exists"_w, "NVIDIA"_w, "NVIDIA"_w, "AMD"_w}}),
    yox_test::RowName());

}  // namespace
