#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "yox/base/Document.h"

#include "host/yoxd/Contents.h"
#include "tests/support/TemporaryFolder.h"

namespace yoxd {
namespace {

using Receipt = Contents::Receipt;
using testing::HasSubstr;

constexpr const char* kList = R"([{"country": "DE"}])";

class ContentsTest : public testing::Test {
 protected:
  yox_test::TemporaryFolder root_;
  StateFolder folder_{root_.path()};
  std::string why_;
};

TEST_F(ContentsTest, AWithdrawnListDoesNotComeBack) {
  ASSERT_TRUE(folder_.Write("content/editor.json", R"({"list": "[]"})"));
  {
    Contents contents(folder_);
    EXPECT_EQ(contents.contents().count("editor"), 1);
    EXPECT_EQ(contents.Receive("editor", "", why_), Receipt::kWithdrawn);
    EXPECT_EQ(contents.Receive("editor", "", why_), Receipt::kUnchanged);
  }
  EXPECT_TRUE(Contents(folder_).contents().empty());
}

TEST_F(ContentsTest, AFileThatCannotBeReadIsLeftOut) {
  ASSERT_TRUE(folder_.Write("content/bad.json", R"({"list": "[{\"country\": 5}]"})"));
  ASSERT_TRUE(folder_.Write("content/good.json", R"({"list": "[]"})"));
  ASSERT_TRUE(folder_.Write("content/interrupted.json.new", "{"));
  EXPECT_EQ(Contents(folder_).contents().size(), 1);
}

TEST_F(ContentsTest, ARefusalLeavesTheFormerListInForce) {
  Contents contents(folder_);
  EXPECT_EQ(contents.Receive("editor", kList, why_), Receipt::kAccepted);
  EXPECT_EQ(contents.Receive("editor", R"([{"country": 5}])", why_), Receipt::kRefused);
  EXPECT_THAT(why_, HasSubstr("[0].country: expected a string"));
  EXPECT_EQ(contents.contents().at("editor").text, kList);
  EXPECT_EQ(contents.refusals().at("editor").why, why_);
  // The same again is reported once, another one again, and the list in force ends the refusal.
  EXPECT_EQ(contents.Receive("editor", R"([{"country": 5}])", why_), Receipt::kUnchanged);
  EXPECT_EQ(contents.Receive("editor", "{", why_), Receipt::kRefused);
  EXPECT_EQ(contents.Receive("editor", kList, why_), Receipt::kUnchanged);
  EXPECT_TRUE(contents.refusals().empty());
}

TEST_F(ContentsTest, AnAcceptedListEndsTheRefusal) {
  Contents contents(folder_);
  EXPECT_EQ(contents.Receive("editor", "{", why_), Receipt::kRefused);
  EXPECT_EQ(contents.Receive("editor", kList, why_), Receipt::kAccepted);
  EXPECT_TRUE(contents.refusals().empty());
}

TEST_F(ContentsTest, AnIdentifierIsNoPath) {
  Contents contents(folder_);
  for (const char* const id : {"", "..", "a/b", "a b", "\xff"}) {
    EXPECT_EQ(contents.Receive(id, kList, why_), Receipt::kRefused) << id;
  }
  EXPECT_TRUE(contents.contents().empty());
}

TEST_F(ContentsTest, AListThatIsTooLongIsRefused) {
  Contents contents(folder_);
  const std::string list = kList + std::string(yox::kMaxDocumentSize, ' ');
  EXPECT_EQ(contents.Receive("editor", list, why_), Receipt::kRefused);
  EXPECT_THAT(why_, HasSubstr(yox::kTooLongDocument));
}

TEST_F(ContentsTest, ThereIsABoundOfLists) {
  Contents contents(folder_);
  for (std::size_t i = 0; i < Contents::kMostContents; ++i) {
    ASSERT_EQ(contents.Receive("list-" + std::to_string(i), "[]", why_), Receipt::kAccepted);
  }
  EXPECT_EQ(contents.Receive("one-more", "[]", why_), Receipt::kRefused);
  EXPECT_THAT(why_, HasSubstr("more than 1000 lists"));
  EXPECT_EQ(contents.Receive("list-0", kList, why_), Receipt::kAccepted);  // a new version
}

TEST_F(ContentsTest, ThereIsABoundOfRefusalsThatAreKept) {
  Contents contents(folder_);
  for (std::size_t i = 0; i < Contents::kMostContents + 1; ++i) {
    ASSERT_EQ(contents.Receive("list-" + std::to_string(i), "{", why_), Receipt::kRefused);
  }
  EXPECT_EQ(contents.refusals().size(), Contents::kMostContents);
}

}  // namespace
}  // namespace yoxd
