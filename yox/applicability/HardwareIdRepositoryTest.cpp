#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <thread>
#include <vector>

#include "yox/applicability/HardwareIdRepository.h"

namespace {

using namespace yox::literals;
using testing::ElementsAre;
using testing::IsEmpty;
using yox::WString;

// A repository that records what its callbacks receive.
struct ObservedRepository {
  HardwareIdRepository repository;
  std::vector<WString> added;
  std::vector<WString> removed;

  ObservedRepository() {
    repository.SetOnAdded([this](const WString& id) { added.push_back(id); });
    repository.SetOnRemoved([this](const WString& id) { removed.push_back(id); });
  }
};

TEST(HardwareIdRepositoryTest, StaysPresentWhileOneOfTwoClaimsIsLeft) {
  ObservedRepository observed;
  observed.repository.Add("PCI\\A"_w);
  observed.repository.Add("PCI\\A"_w);
  observed.repository.Remove("PCI\\A"_w);
  EXPECT_TRUE(observed.repository.Contains("PCI\\A"_w));
  EXPECT_EQ(observed.repository.Size(), 1U);
  EXPECT_THAT(observed.added, ElementsAre("PCI\\A"_w));
  EXPECT_THAT(observed.removed, IsEmpty());
}

TEST(HardwareIdRepositoryTest, GoesWithItsLastClaim) {
  ObservedRepository observed;
  observed.repository.Add("PCI\\A"_w);
  observed.repository.Add("PCI\\A"_w);
  observed.repository.Remove("PCI\\A"_w);
  observed.repository.Remove("PCI\\A"_w);
  EXPECT_FALSE(observed.repository.Contains("PCI\\A"_w));
  EXPECT_EQ(observed.repository.Size(), 0U);
  EXPECT_THAT(observed.removed, ElementsAre("PCI\\A"_w));
}

TEST(HardwareIdRepositoryTest, RemovingAnUnknownIdChangesNothing) {
  ObservedRepository observed;
  observed.repository.Add("PCI\\A"_w);
  observed.repository.Remove("PCI\\B"_w);
  EXPECT_THAT(observed.repository.Snapshot(), ElementsAre("PCI\\A"_w));
  EXPECT_THAT(observed.removed, IsEmpty());
}

TEST(HardwareIdRepositoryTest, TheLastIdFillsTheHoleOfTheOneThatGoes) {
  HardwareIdRepository repository;
  for (const WString& id : {"A"_w, "B"_w, "C"_w}) repository.Add(id);
  repository.Remove("A"_w);
  EXPECT_THAT(repository.Snapshot(), ElementsAre("C"_w, "B"_w));
  // The one that moved is still found where it is now.
  repository.Remove("C"_w);
  EXPECT_THAT(repository.Snapshot(), ElementsAre("B"_w));
}

TEST(HardwareIdRepositoryTest, RemovingTheMiddleOfThreeLeavesTheOtherTwo) {
  HardwareIdRepository repository;
  for (const WString& id : {"A"_w, "B"_w, "C"_w}) repository.Add(id);
  repository.Remove("B"_w);
  EXPECT_THAT(repository.Snapshot(), ElementsAre("A"_w, "C"_w));
}

TEST(HardwareIdRepositoryTest, ClearRunsNoCallback) {
  ObservedRepository observed;
  observed.repository.Add("A"_w);
  observed.repository.Add("B"_w);
  observed.repository.Clear();
  EXPECT_EQ(observed.repository.Size(), 0U);
  EXPECT_FALSE(observed.repository.Contains("A"_w));
  EXPECT_THAT(observed.removed, IsEmpty());
}

TEST(HardwareIdRepositoryTest, IdsAreComparedAsStored) {
  HardwareIdRepository repository;
  repository.Add("pci\\a"_w);
  EXPECT_FALSE(repository.Contains("PCI\\A"_w));
  EXPECT_TRUE(repository.Contains("pci\\a"_w));
}

TEST(HardwareIdRepositoryTest, AnEmptyCallbackIsNoCallback) {
  ObservedRepository observed;
  observed.repository.SetOnAdded({});
  observed.repository.SetOnRemoved({});
  observed.repository.Add("A"_w);
  observed.repository.Remove("A"_w);
  EXPECT_THAT(observed.added, IsEmpty());
  EXPECT_THAT(observed.removed, IsEmpty());
}

TEST(HardwareIdRepositoryTest, ASharedSnapshotIsCopiedOnlyAfterAChange) {
  HardwareIdRepository repository;
  EXPECT_THAT(*repository.SharedSnapshot(), IsEmpty());
  repository.Add("A"_w);
  const auto first = repository.SharedSnapshot();
  repository.Add("A"_w);  // one more claim, the same IDs
  EXPECT_EQ(repository.SharedSnapshot(), first);
  repository.Add("B"_w);
  EXPECT_THAT(*repository.SharedSnapshot(), ElementsAre("A"_w, "B"_w));
  repository.Remove("A"_w);
  repository.Remove("A"_w);
  EXPECT_THAT(*repository.SharedSnapshot(), ElementsAre("B"_w));
  EXPECT_THAT(*first, ElementsAre("A"_w));
  repository.Clear();
  EXPECT_THAT(*repository.SharedSnapshot(), IsEmpty());
}

TEST(HardwareIdRepositoryTest, AnIndexFindsTheFirstIdThatIsEqual) {
  HardwareIdRepository repository;
  for (const auto& id : {"OTHER"_w, " Pci\\A "_w, "PCI\\A"_w, "STRA\u00DFE"_w}) repository.Add(id);
  const auto index = repository.SharedIndex();
  EXPECT_EQ(index->Find("other"_wv), 0U);
  EXPECT_EQ(index->Find("pci\\a"_wv), 1U);
  EXPECT_EQ(index->Find("stra\u00DFe"_wv), 3U);
  EXPECT_EQ(index->Find(" pci\\a "_wv), std::nullopt);
  EXPECT_EQ(index->Find("pci"_wv), std::nullopt);
  EXPECT_EQ(index->Find(""_wv), std::nullopt);
}

TEST(HardwareIdRepositoryTest, AnIndexFindsEachOfManyIds) {
  HardwareIdRepository repository;
  const auto id = [](int i) { return WString(1, static_cast<yox::WChar>('a' + i)) + "\\x"_w; };
  for (int i = 0; i < 26; ++i) repository.Add(id(i));
  const auto index = repository.SharedIndex();
  for (int i = 0; i < 26; ++i) EXPECT_EQ(index->Find(id(i)), static_cast<std::size_t>(i));
}

TEST(HardwareIdRepositoryTest, AnIdThatCameBackGoesFromWhereItIs) {
  HardwareIdRepository repository;
  for (const WString& id : {"A"_w, "B"_w}) repository.Add(id);
  repository.Remove("A"_w);
  repository.Add("A"_w);
  EXPECT_THAT(repository.Snapshot(), ElementsAre("B"_w, "A"_w));
  repository.Remove("A"_w);
  EXPECT_THAT(repository.Snapshot(), ElementsAre("B"_w));
  EXPECT_FALSE(repository.Contains("A"_w));
}

TEST(HardwareIdRepositoryTest, AfterClearIdsAreCountedAnew) {
  HardwareIdRepository repository;
  for (const WString& id : {"A"_w, "A"_w, "B"_w}) repository.Add(id);
  repository.Clear();
  for (const WString& id : {"B"_w, "A"_w}) repository.Add(id);
  EXPECT_THAT(repository.Snapshot(), ElementsAre("B"_w, "A"_w));
  repository.Remove("A"_w);
  EXPECT_THAT(repository.Snapshot(), ElementsAre("B"_w));
}

// One thread has one operation alone, so that no other lock orders it before those of the second.
TEST(HardwareIdRepositoryTest, EachOperationMayMeetEveryOther) {
  HardwareIdRepository repository;
  const std::vector<std::function<void()>> operations = {
      [&] { repository.Add("A"_w); },
      [&] { repository.Remove("A"_w); },
      [&] { repository.Contains("A"_w); },
      [&] { repository.Size(); },
      [&] { repository.Snapshot(); },
      [&] { repository.SharedIndex(); },
      [&] { repository.SetOnAdded([](const WString&) {}); },
      [&] { repository.SetOnRemoved([](const WString&) {}); },
      [&] { repository.Clear(); }};
  for (const auto& operation : operations) {
    std::thread other([&] {
      for (int round = 0; round < 20; ++round) operation();
    });
    for (int round = 0; round < 20; ++round) {
      for (const auto& any : operations) any();
    }
    other.join();
  }
  repository.Clear();
  EXPECT_EQ(repository.Size(), 0U);
}

TEST(HardwareIdRepositoryTest, ClaimsFromSeveralThreadsAddUp) {
  HardwareIdRepository repository;
  const auto claim = [&repository](int thread) {
    for (int round = 0; round < 500; ++round) {
      const WString own = WString(1, static_cast<yox::WChar>('A' + thread));
      repository.Add("SHARED"_w);
      repository.Add(own);
      (void)repository.SharedSnapshot();
      repository.Remove(own);
    }
  };
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) threads.emplace_back(claim, thread);
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(repository.Snapshot(), ElementsAre("SHARED"_w));
  for (int claimed = 1; claimed < 4 * 500; ++claimed) repository.Remove("SHARED"_w);
  EXPECT_TRUE(repository.Contains("SHARED"_w));
  repository.Remove("SHARED"_w);
  EXPECT_EQ(repository.Size(), 0U);
}

}  // namespace
