#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

#include "yox/foundation/KeyValuePair.h"
#include "yox/foundation/YOXTag.h"

namespace {

using namespace yox::literals;
using yox::WString;
using Pair = KeyValuePair<WString, WString>;

TEST(YOXTagTest, ANewTagIsEmpty) {
  EXPECT_EQ(YOXTag().getKey(), ""_w);
  EXPECT_EQ(YOXTag().getValue(), ""_w);
}

TEST(YOXTagTest, GettersReturnIndependentCopies) {
  const YOXTag tag("key"_w, "value"_w);
  WString key = tag.getKey();
  WString value = tag.getValue();
  key += "x"_w;
  value.clear();
  EXPECT_EQ(tag.getKey(), "key"_w);
  EXPECT_EQ(tag.getValue(), "value"_w);
}

TEST(YOXTagTest, SettersReplaceInPlace) {
  YOXTag tag("key"_w, "value"_w);
  tag.setKey("other"_w);
  EXPECT_EQ(tag.getKey(), "other"_w);
  EXPECT_EQ(tag.getValue(), "value"_w);
  tag.setValue("text"_w);
  EXPECT_EQ(tag.getValue(), "text"_w);
}

TEST(YOXTagTest, AssignmentToItselfChangesNothing) {
  YOXTag tag("key"_w, "a value that is longer than a short string"_w);
  YOXTag& same = tag;
  tag = same;
  EXPECT_EQ(tag.getKey(), "key"_w);
  EXPECT_EQ(tag.getValue(), "a value that is longer than a short string"_w);
  tag = std::move(same);
  EXPECT_EQ(tag.getKey(), "key"_w);
  EXPECT_EQ(tag.getValue(), "a value that is longer than a short string"_w);
}

TEST(YOXTagTest, AMovedFromTagIsEmptyAndCanBeAssigned) {
  YOXTag source("k"_w, "a value that is longer than a short string"_w);
  const YOXTag constructed(std::move(source));
  EXPECT_EQ(constructed.getKey(), "k"_w);
  EXPECT_EQ(source.getKey(), ""_w);  // NOLINT(bugprone-use-after-move): the state is promised
  EXPECT_EQ(source.getValue(), ""_w);

  source = YOXTag("again"_w, "v"_w);
  YOXTag target("old"_w, "old"_w);
  target = std::move(source);
  EXPECT_EQ(target.getKey(), "again"_w);
  EXPECT_EQ(target.getValue(), "v"_w);
  EXPECT_EQ(source.getKey(), ""_w);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(source.getValue(), ""_w);
}

TEST(KeyValuePairTest, HoldsWhatItWasBuiltFrom) {
  WString key = "key"_w;
  const Pair pair(key, "value"_w);
  key.clear();
  EXPECT_EQ(pair.getKey(), "key"_w);
  EXPECT_EQ(pair.getValue(), "value"_w);
}

TEST(KeyValuePairTest, CopiesAndMovesMemberByMember) {
  Pair source("key"_w, "value"_w);
  Pair copy(""_w, ""_w);
  copy = source;
  source = Pair("other"_w, "text"_w);
  EXPECT_EQ(copy.getKey(), "key"_w);
  const Pair moved(std::move(copy));
  EXPECT_EQ(moved.getValue(), "value"_w);
}

TEST(KeyValuePairTest, FingerprintsIgnoreLetterCaseAndWhiteSpaceAround) {
  const Pair pair("Key"_w, " Value\t"_w);
  const Pair same(" key "_w, "VALUE"_w);
  const Pair other("key 2"_w, "value 2"_w);
  EXPECT_EQ(pair.key_fingerprint(), same.key_fingerprint());
  EXPECT_EQ(pair.value_fingerprint(), same.value_fingerprint());
  EXPECT_NE(pair.key_fingerprint(), other.key_fingerprint());
  EXPECT_NE(pair.value_fingerprint(), other.value_fingerprint());
  EXPECT_NE(pair.key_fingerprint(), pair.value_fingerprint());

  Pair assigned("x"_w, "y"_w);
  assigned = other;
  EXPECT_EQ(assigned.key_fingerprint(), other.key_fingerprint());
  EXPECT_EQ(assigned.value_fingerprint(), other.value_fingerprint());
}

TEST(TagRecordsTest, TheTwoRecordsAreSeparateTypes) {
  static_assert(!std::is_base_of_v<Pair, YOXTag>);
  static_assert(!std::is_polymorphic_v<YOXTag> && !std::is_polymorphic_v<Pair>);
  static_assert(!std::is_convertible_v<YOXTag, Pair>);
}

}  // namespace
