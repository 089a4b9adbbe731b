#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "yox/applicability/KeptTags.h"

namespace yox::applicability {
namespace {

using namespace literals;

std::shared_ptr<const IndexedPairs> Tags() {
  return std::make_shared<const IndexedPairs>(decision::Pairs{{"ring"_w, "beta"_w}});
}

TEST(KeptTagsTest, AreThoseOfTheirGenerationOnly) {
  KeptTags kept;
  EXPECT_EQ(KeptTags::Lease(kept).Get(0), nullptr);
  const auto tags = Tags();
  kept.Keep(tags, 7);
  EXPECT_EQ(KeptTags::Lease(kept).Get(7), &tags->index);
  EXPECT_EQ(KeptTags::Lease(kept).Get(6), nullptr);
  EXPECT_EQ(KeptTags::Lease(kept).Get(8), nullptr);
}

TEST(KeptTagsTest, LiveAsLongAsALease) {
  KeptTags kept;
  std::weak_ptr<const IndexedPairs> former;
  std::optional<KeptTags::Lease> lease;
  {
    const auto tags = Tags();
    former = tags;
    kept.Keep(tags, 1);
    lease.emplace(kept);
  }
  kept.Keep(Tags(), 2);
  EXPECT_FALSE(former.expired());
  EXPECT_NE(lease->Get(1), nullptr);
  lease.reset();
  EXPECT_TRUE(former.expired());
}

}  // namespace
}  // namespace yox::applicability
