#include <gtest/gtest.h>

#include <cstddef>
#include <utility>
#include <vector>

#include "yox/notifications/StyledSize.h"

namespace {

using yox::notifications::RequireBoundedStyledSize;

// Arrays within each other, of which each may have leaves beside the next array. The document's own
// depth is 0.
class Document {
 public:
  explicit Document(std::size_t arrays) : leaves_(arrays) {}

  // Adds leaves that are indented by `depth`.
  Document& Add(std::size_t leaves, std::size_t depth) {
    leaves_[depth - 1] += leaves;
    return *this;
  }
  bool IsRefused() const {
    Json::Value value;
    for (std::size_t i = leaves_.size(); i-- > 0;) {
      Json::Value array(Json::arrayValue);
      for (std::size_t leaf = 0; leaf < leaves_[i]; ++leaf) array.append(1);
      if (i + 1 < leaves_.size()) array.append(std::move(value));
      value = std::move(array);
    }
    try {
      RequireBoundedStyledSize(value);
      return false;
    } catch (const Json::RuntimeError&) {
      return true;
    }
  }

 private:
  std::vector<std::size_t> leaves_;
};

// A thousand arrays are indented by 0 + 1 + ... + 999 = 499,500 in all.
TEST(StyledSizeTest, AMebibyteOfIndentationIsAllowed) {
  const Document mebibyte = Document(1000).Add(549, 1000).Add(1, 76);
  EXPECT_FALSE(mebibyte.IsRefused());
  EXPECT_TRUE(Document(mebibyte).Add(1, 1).IsRefused());
}

// Seventeen arrays are indented by 136 in all, which is 8 for each of them: the leaves at 17 make
// up for it.
TEST(StyledSizeTest, SixteenForEachValueAreAllowedWhateverTheSize) {
  const Document sixteen = Document(17).Add(100'000, 16).Add(136, 17);
  EXPECT_FALSE(sixteen.IsRefused());
  EXPECT_FALSE(Document(sixteen).Add(15, 17).IsRefused()) << "less than 17 when rounded down";
  EXPECT_TRUE(Document(sixteen).Add(16, 17).IsRefused());
}

TEST(StyledSizeTest, MembersOfObjectsCountAsElementsOfArraysDo) {
  Json::Value deep(1);
  for (int depth = 0; depth < 2000; ++depth) {
    Json::Value outer;
    outer["a"] = std::move(deep);
    deep = std::move(outer);
  }
  EXPECT_THROW(RequireBoundedStyledSize(deep), Json::RuntimeError);
}

}  // namespace
