#include <gtest/gtest.h>

#include <set>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/StrictJson.h"
#include "yox/base/String.h"

#include "tests/support/Generators.h"
#include "tests/support/TestRecord.h"

namespace yox_test {
namespace {

Json::Value Read(const std::string& text) { return yox::ParseDocument(text); }

// 64-bit FNV-1a.
std::uint64_t Digest(std::string_view text) {
  std::uint64_t digest = 0xCBF29CE484222325U;
  for (const char c : text) digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  return digest;
}

// Figures measured on generated documents compare only with those of the same documents: change
// them knowingly.
TEST(Generators, ASeedGivesTheSameDocumentsOnEverySystem) {
  std::string all;
  for (const Mix mix : {Mix::kCommon, Mix::kEverything}) {
    Random random(1);
    for (int i = 0; i < 100; ++i) {
      all += MakeDevice(random, mix).ToProfile();
      all += MakeList(random, mix).ToDocument();
      all += MakeArguments(random).target_version;
    }
  }
  EXPECT_EQ(Digest(all), 10519787226577657354U);
}

TEST(Generators, AnotherSeedGivesOtherDocuments) {
  Random one(1);
  Random two(2);
  EXPECT_NE(MakeDevice(one, Mix::kCommon).ToProfile(), MakeDevice(two, Mix::kCommon).ToProfile());
}

TEST(Generators, AboutHalfOfTheListsNeverApply) {
  Random random(7);
  int never = 0;
  for (int i = 0; i < 1000; ++i) never += MakeList(random, Mix::kCommon).never_applies;
  EXPECT_GT(never, 450);
  EXPECT_LT(never, 550);
}

TEST(Generators, ListsHaveOneToAllFilters) {
  Random random(7);
  std::set<std::size_t> sizes;
  for (int i = 0; i < 200; ++i) {
    sizes.insert(Read(MakeList(random, Mix::kCommon, 4).ToDocument())["filters"].size());
  }
  EXPECT_EQ(sizes, (std::set<std::size_t>{1, 2, 3, 4, 5}));  // the fifth is a default
}

TEST(Generators, TheMixOfEverythingSetsEveryField) {
  Random random(7);
  std::set<std::string> fields;
  for (int i = 0; i < 300; ++i) {
    const Json::Value document = Read(MakeList(random, Mix::kEverything).ToDocument());
    for (const Json::Value& filter : document["filters"]) {
      for (const std::string& field : filter.getMemberNames()) fields.insert(field);
    }
  }
  EXPECT_EQ(fields.size(), 24U);
}

// What a list promises is true of the decision itself, with nothing of the device left out.
TEST(Generators, AListThatNeverAppliesIsDecidedSo) {
  Random random(11);
  TestEvaluator evaluator;
  int applied = 0;
  for (int i = 0; i < 1000; ++i) {
    const GeneratedDevice device = MakeDevice(random, Mix::kCommon);
    const GeneratedList list = MakeList(random, Mix::kCommon);
    const auto record = std::make_shared<TestRecord>();
    device.Fill(*record);
    yox::WString reason;
    const bool applies = evaluator.EvaluateApplicability(
        record, YOX::String::UTF8ToUTF16(device.client_version), list.ToFilters(), nullptr, nullptr,
        ToPairs(device.tags), reason);
    EXPECT_FALSE(applies && list.never_applies) << list.ToDocument() << device.ToProfile();
    applied += applies;
  }
  // Of the others most find a filter that matches.
  EXPECT_GT(applied, 250);
}

}  // namespace
}  // namespace yox_test
