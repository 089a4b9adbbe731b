#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "yox/applicability/PnPDeviceTracker.h"
#include "yox/platform/devices/DeviceEvent.h"
#include "yox/platform/simulated/SimulatedDeviceTree.h"

#include "tests/support/Latch.h"

namespace {

using namespace yox::literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using yox::WString;
using yox::platform::DeviceEvent;
using yox::platform::DeviceRegistration;
using yox::platform::DeviceTree;
using yox::platform::PresentDevice;
using yox::platform::SimulatedDeviceTree;

PresentDevice Key(const WString& place) {
  return {"USB\\VID_1050&PID_0120\\"_w + place,
          {"USB\\VID_1050&PID_0120&REV_0512"_w, "USB\\VID_1050&PID_0120"_w}};
}

constexpr auto kRemoveComplete = CM_NOTIFY_ACTION_DEVICEREMOVECOMPLETE;
constexpr auto kEnumerated = CM_NOTIFY_ACTION_DEVICEINSTANCEENUMERATED;
constexpr auto kStarted = CM_NOTIFY_ACTION_DEVICEINSTANCESTARTED;
constexpr auto kRemoved = CM_NOTIFY_ACTION_DEVICEINSTANCEREMOVED;

class PnPDeviceTrackerTest : public testing::Test {
 protected:
  PnPDeviceTrackerTest() {
    repository.SetOnAdded([this](const WString&) { ++added; });
    repository.SetOnRemoved([this](const WString&) { ++removed; });
  }

  SimulatedDeviceTree tree;
  int added = 0;
  int removed = 0;
  HardwareIdRepository repository;
  PnPDeviceTracker tracker{repository, tree};
};

TEST_F(PnPDeviceTrackerTest, RegistersAndReadsNothingBeforeItStarts) {
  tree.Plug(Key("1"_w));
  EXPECT_EQ(repository.Size(), 0U);
  EXPECT_EQ(tree.reads(), 0U);
  EXPECT_EQ(tree.enumerations(), 0U);
}

TEST_F(PnPDeviceTrackerTest, StartSeedsFromPresentDevices) {
  tree.Plug(Key("1"_w));
  tree.Plug({"PCI\\A\\1"_w, {"PCI\\A"_w}});
  EXPECT_TRUE(tracker.Start());
  EXPECT_THAT(repository.Snapshot(), UnorderedElementsAre("PCI\\A"_w, "USB\\VID_1050&PID_0120"_w,
                                                          "USB\\VID_1050&PID_0120&REV_0512"_w));
}

TEST_F(PnPDeviceTrackerTest, FollowsArrivalsAndRemovals) {
  ASSERT_TRUE(tracker.Start());
  tree.Plug(Key("1"_w));
  EXPECT_TRUE(repository.Contains("USB\\VID_1050&PID_0120"_w));
  tree.Unplug(Key("1"_w).instance_id);
  EXPECT_EQ(repository.Size(), 0U);
}

TEST_F(PnPDeviceTrackerTest, AnEventOfSize35ChangesNothing) {
  ASSERT_TRUE(tracker.Start());
  tree.Plug(Key("1"_w));
  DeviceEvent event(Key("1"_w).instance_id);
  tree.Send(kRemoved, event.data(), 35);
  EXPECT_EQ(repository.Size(), 2U);
  tree.Send(kRemoved, event.data(), event.size());
  EXPECT_EQ(repository.Size(), 0U);
}

TEST_F(PnPDeviceTrackerTest, AnEventOfSize36IsReadUpToItsEnd) {
  ASSERT_TRUE(tracker.Start());
  tree.Plug({"0123456789ABCD"_w, {"FOURTEEN"_w}});
  DeviceEvent event("0123456789ABCDEF"_w);
  tree.Send(kRemoved, event.data(), 36);
  EXPECT_EQ(repository.Size(), 0U);
}

TEST_F(PnPDeviceTrackerTest, AnEventWithAnEmptyInstanceIdChangesNothing) {
  ASSERT_TRUE(tracker.Start());
  tree.Send(kEnumerated, ""_w);
  tree.Send(kRemoved, ""_w);
  EXPECT_EQ(repository.Size(), 0U);
  EXPECT_EQ(tree.reads(), 0U);
}

TEST_F(PnPDeviceTrackerTest, AnEventWithoutDataChangesNothing) {
  ASSERT_TRUE(tracker.Start());
  tree.Send(kEnumerated, nullptr, 100);
  EXPECT_EQ(tree.reads(), 0U);
}

TEST_F(PnPDeviceTrackerTest, AnEventOfAnotherFilterTypeChangesNothing) {
  ASSERT_TRUE(tracker.Start());
  tree.Plug(Key("1"_w));
  DeviceEvent event(Key("1"_w).instance_id);
  event.data()->FilterType = CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE;
  tree.Send(kRemoved, event.data(), event.size());
  EXPECT_EQ(repository.Size(), 2U);
}

TEST_F(PnPDeviceTrackerTest, TheStartOfAnInstanceIsIgnored) {
  ASSERT_TRUE(tracker.Start());
  tree.Send(kStarted, Key("1"_w).instance_id);
  EXPECT_EQ(tree.reads(), 0U);
}

TEST_F(PnPDeviceTrackerTest, IdsThatDifferInCaseOnlyAreOneUpperCaseId) {
  ASSERT_TRUE(tracker.Start());
  tree.Plug({"A"_w, {"usb\\vid_1050"_w, "USB\\Vid_1050"_w, "USB\\VID_1050"_w}});
  EXPECT_THAT(repository.Snapshot(), ElementsAre("USB\\VID_1050"_w));
  repository.Remove("USB\\VID_1050"_w);
  EXPECT_EQ(repository.Size(), 0U);  // it had one claim
}

TEST_F(PnPDeviceTrackerTest, AnIdThatADeviceHasTwiceCountsOnce) {
  ASSERT_TRUE(tracker.Start());
  tree.Plug({"A"_w, {"PCI\\B"_w, "PCI\\A"_w, "pci\\b"_w}});
  EXPECT_EQ(repository.Size(), 2U);
  repository.Remove("PCI\\B"_w);
  EXPECT_FALSE(repository.Contains("PCI\\B"_w));
}

TEST_F(PnPDeviceTrackerTest, ADeviceWithoutIdsAtTheStartIsReadWhenItComes) {
  tree.Plug({"A"_w, {}});
  ASSERT_TRUE(tracker.Start());
  tree.Plug({"A"_w, {"PCI\\A"_w}});
  EXPECT_THAT(repository.Snapshot(), ElementsAre("PCI\\A"_w));
}

TEST_F(PnPDeviceTrackerTest, ADeviceWithoutAnInstanceIdIsNotCountedAtTheStart) {
  tree.Plug({{}, {"PCI\\A"_w}});
  ASSERT_TRUE(tracker.Start());
  EXPECT_EQ(repository.Size(), 0U);
}

TEST_F(PnPDeviceTrackerTest, AnIdOfTwoInstancesStaysUntilBothHaveGone) {
  ASSERT_TRUE(tracker.Start());
  tree.Plug(Key("1"_w));
  tree.Plug(Key("2"_w));
  tree.Unplug(Key("1"_w).instance_id);
  EXPECT_TRUE(repository.Contains("USB\\VID_1050&PID_0120"_w));
  tree.Unplug(Key("2"_w).instance_id);
  EXPECT_FALSE(repository.Contains("USB\\VID_1050&PID_0120"_w));
}

TEST_F(PnPDeviceTrackerTest, BothRemovalActionsOfOneDeviceRemoveItOnce) {
  ASSERT_TRUE(tracker.Start());
  tree.Plug(Key("1"_w));
  tree.Plug(Key("2"_w));
  tree.Send(kRemoveComplete, Key("1"_w).instance_id);
  tree.Send(kRemoved, Key("1"_w).instance_id);
  EXPECT_TRUE(repository.Contains("USB\\VID_1050&PID_0120"_w));  // the other's claim
  EXPECT_EQ(removed, 0);
}

TEST_F(PnPDeviceTrackerTest, ARemovalOfAnUnknownInstanceChangesNothing) {
  ASSERT_TRUE(tracker.Start());
  tree.Plug(Key("1"_w));
  tree.Send(kRemoved, Key("2"_w).instance_id);
  tree.Send(kRemoved, "usb\\vid_1050&pid_0120\\1"_w);  // instance IDs are not folded
  EXPECT_EQ(repository.Size(), 2U);
}

TEST_F(PnPDeviceTrackerTest, AnArrivalOfAKnownInstanceReadsNothing) {
  ASSERT_TRUE(tracker.Start());
  tree.Plug(Key("1"_w));
  ASSERT_EQ(tree.reads(), 1U);
  // Even where the device now has other IDs.
  tree.Plug({Key("1"_w).instance_id, {"USB\\OTHER"_w}});
  EXPECT_EQ(tree.reads(), 1U);
  EXPECT_FALSE(repository.Contains("USB\\OTHER"_w));
  tree.Unplug(Key("1"_w).instance_id);
  EXPECT_EQ(repository.Size(), 0U);
}

TEST_F(PnPDeviceTrackerTest, APropertyThatIsNoMultiStringEntersNothing) {
  ASSERT_TRUE(tracker.Start());
  const std::string text("U\0S\0B\0\0\0\0\0", 10);
  tree.Plug("A"_w, 1, text);
  EXPECT_EQ(tree.reads(), 1U);
  EXPECT_EQ(repository.Size(), 0U);
  // It was not entered, so it is read when it is enumerated again.
  tree.Plug("A"_w, 7, text);
  EXPECT_EQ(tree.reads(), 2U);
  EXPECT_THAT(repository.Snapshot(), ElementsAre("USB"_w));
}

TEST_F(PnPDeviceTrackerTest, AnArrivalOfADeviceThatHasGoneAgainIsLost) {
  ASSERT_TRUE(tracker.Start());
  tree.Send(kEnumerated, Key("1"_w).instance_id);
  EXPECT_EQ(tree.reads(), 1U);
  EXPECT_EQ(repository.Size(), 0U);
}

TEST_F(PnPDeviceTrackerTest, ASecondStartSeedsNothing) {
  tree.Plug(Key("1"_w));
  ASSERT_TRUE(tracker.Start());
  EXPECT_TRUE(tracker.Start());
  EXPECT_EQ(tree.enumerations(), 1U);
  tree.Unplug(Key("1"_w).instance_id);
  EXPECT_EQ(repository.Size(), 0U);  // one claim each
}

TEST_F(PnPDeviceTrackerTest, StopKeepsWhatWasSeenAndFollowsNoMore) {
  ASSERT_TRUE(tracker.Start());
  tree.Plug(Key("1"_w));
  tracker.Stop();
  tree.Unplug(Key("1"_w).instance_id);
  tree.Plug({"PCI\\A\\1"_w, {"PCI\\A"_w}});
  EXPECT_TRUE(repository.Contains("USB\\VID_1050&PID_0120"_w));
  EXPECT_FALSE(repository.Contains("PCI\\A"_w));
}

TEST_F(PnPDeviceTrackerTest, ARestartCountsWhatIsPresentTwiceAndARemovalTakesAll) {
  tree.Plug(Key("1"_w));
  ASSERT_TRUE(tracker.Start());
  tracker.Stop();
  ASSERT_TRUE(tracker.Start());
  repository.Remove("USB\\VID_1050&PID_0120"_w);
  EXPECT_TRUE(repository.Contains("USB\\VID_1050&PID_0120"_w));
  repository.Add("USB\\VID_1050&PID_0120"_w);
  tree.Unplug(Key("1"_w).instance_id);
  EXPECT_EQ(repository.Size(), 0U);
}

TEST_F(PnPDeviceTrackerTest, AStartThatFailsMayBeTriedAgain) {
  tree.Plug(Key("1"_w));
  tree.AcceptRegistrations(false);
  EXPECT_FALSE(tracker.Start());
  EXPECT_EQ(tree.enumerations(), 0U);
  tree.AcceptRegistrations(true);
  EXPECT_TRUE(tracker.Start());
  EXPECT_EQ(repository.Size(), 2U);
}

TEST_F(PnPDeviceTrackerTest, EndsQuietlyBehindItsTree) {
  auto other = std::make_unique<SimulatedDeviceTree>();
  PnPDeviceTracker bound(repository, *other);
  ASSERT_TRUE(bound.Start());
  other.reset();
  bound.Stop();
  EXPECT_EQ(repository.Size(), 0U);
}

// Announces every device while it is being enumerated, before the seed has counted it.
class AnnouncingTree final : public DeviceTree {
 public:
  std::unique_ptr<DeviceRegistration> Register(PCM_NOTIFY_CALLBACK callback,
                                               void* context) override {
    order.push_back("register");
    return inner.Register(callback, context);
  }
  void Enumerate(const Visitor& visit) override {
    order.push_back("enumerate");
    inner.Enumerate([&](PresentDevice device) {
      inner.Send(kEnumerated, device.instance_id);
      visit(std::move(device));
    });
  }
  std::vector<WString> HardwareIds(const WString& instance_id) override {
    return inner.HardwareIds(instance_id);
  }

  SimulatedDeviceTree inner;
  std::vector<std::string> order;
};

// Windows expects ERROR_SUCCESS from the callback, whatever the event is.
class CallingTree final : public DeviceTree {
 public:
  std::unique_ptr<DeviceRegistration> Register(PCM_NOTIFY_CALLBACK callback,
                                               void* context) override {
    callback_ = callback;
    context_ = context;
    return inner_.Register(callback, context);
  }
  void Enumerate(const Visitor& visit) override { inner_.Enumerate(visit); }
  std::vector<WString> HardwareIds(const WString& instance_id) override {
    return inner_.HardwareIds(instance_id);
  }
  yox::platform::Dword Call(CM_NOTIFY_ACTION action, const WString& instance_id) {
    DeviceEvent event(instance_id);
    return callback_(nullptr, context_, action, event.data(), event.size());
  }

 private:
  SimulatedDeviceTree inner_;
  PCM_NOTIFY_CALLBACK callback_ = nullptr;
  void* context_ = nullptr;
};

TEST(PnPDeviceTrackerCallbackTest, ReturnsSuccessForEveryEvent) {
  CallingTree tree;
  HardwareIdRepository repository;
  PnPDeviceTracker tracker(repository, tree);
  ASSERT_TRUE(tracker.Start());
  for (const auto action : {kEnumerated, kStarted, kRemoveComplete, kRemoved}) {
    EXPECT_EQ(tree.Call(action, "A"_w), 0U);
    EXPECT_EQ(tree.Call(action, {}), 0U);
  }
}

TEST(PnPDeviceTrackerSeedTest, RegistersBeforeItSeeds) {
  AnnouncingTree tree;
  HardwareIdRepository repository;
  PnPDeviceTracker tracker(repository, tree);
  ASSERT_TRUE(tracker.Start());
  EXPECT_THAT(tree.order, ElementsAre("register", "enumerate"));
}

TEST(PnPDeviceTrackerSeedTest, AnArrivalThatMeetsTheSeedCountsTwiceAndARemovalTakesBoth) {
  AnnouncingTree tree;
  tree.inner.Plug(Key("1"_w));
  HardwareIdRepository repository;
  PnPDeviceTracker tracker(repository, tree);
  ASSERT_TRUE(tracker.Start());

  const WString id = "USB\\VID_1050&PID_0120"_w;
  repository.Remove(id);
  EXPECT_TRUE(repository.Contains(id)) << "the entry holds the list twice";
  repository.Add(id);
  tree.inner.Unplug(Key("1"_w).instance_id);
  EXPECT_THAT(repository.Snapshot(), IsEmpty());
}

// Whatever the interleaving: what is plugged in the end is present, and what is not is not, however
// often an instance was counted on the way.
TEST(PnPDeviceTrackerRaceTest, ArrivalsAndRemovalsDuringTheSeedLeaveWhatIsPresent) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 25;
  for (int run = 0; run < 8; ++run) {
    SimulatedDeviceTree tree;
    HardwareIdRepository repository;
    PnPDeviceTracker tracker(repository, tree);
    const auto device = [](int thread, int number) {
      const WString name = WString(1, static_cast<yox::WChar>('A' + thread)) +
                           WString(1, static_cast<yox::WChar>('a' + number));
      return PresentDevice{name, {"OWN\\"_w + name, "SHARED"_w}};
    };
    // Present before the start and never touched, so that the seed is busy.
    for (int number = 0; number < 26; ++number) tree.Plug(device(kThreads, number));

    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&tree, &device, thread] {
        for (int number = 0; number < kRounds; ++number) tree.Plug(device(thread, number));
        for (int number = 0; number < kRounds; ++number) {
          tree.Send(kEnumerated, device(thread, number).instance_id);
        }
      });
    }
    ASSERT_TRUE(tracker.Start());
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(repository.Size(), 1U + 26 + kThreads * kRounds);

    threads.clear();
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&tree, &device, thread] {
        for (int number = 0; number < kRounds; ++number) {
          tree.Unplug(device(thread, number).instance_id);
          tree.Send(kRemoveComplete, device(thread, number).instance_id);
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(repository.Size(), 1U + 26);

    for (int number = 0; number < 26; ++number) tree.Unplug(device(kThreads, number).instance_id);
    EXPECT_EQ(repository.Size(), 0U) << "every claim was taken back, the doubled ones too";
  }
}

// A device whose IDs are being read when the tracker is stopped.
class SlowTree final : public DeviceTree {
 public:
  std::unique_ptr<DeviceRegistration> Register(PCM_NOTIFY_CALLBACK callback,
                                               void* context) override {
    return tree.Register(callback, context);
  }
  void Enumerate(const Visitor& visit) override { tree.Enumerate(visit); }
  std::vector<WString> HardwareIds(const WString& instance_id) override {
    reading.CountDown();
    // Time for a stop that does not wait to return.
    EXPECT_TRUE(stopping.Wait());
    for (int i = 0; i < 10'000; ++i) std::this_thread::yield();
    std::vector<WString> ids = tree.HardwareIds(instance_id);
    has_read = true;
    return ids;
  }

  SimulatedDeviceTree tree;
  yox_test::Latch reading;
  yox_test::Latch stopping;
  std::atomic<bool> has_read{false};
};

TEST(PnPDeviceTrackerRaceTest, StopWaitsForEventsThatAreBeingHandled) {
  SlowTree slow;
  HardwareIdRepository repository;
  PnPDeviceTracker tracker(repository, slow);
  ASSERT_TRUE(tracker.Start());
  std::thread plugging([&] { slow.tree.Plug(Key("1"_w)); });
  ASSERT_TRUE(slow.reading.Wait());
  slow.stopping.CountDown();
  tracker.Stop();
  EXPECT_TRUE(slow.has_read);
  EXPECT_EQ(repository.Size(), 2U) << "what was read has arrived";
  plugging.join();
}

TEST(PnPDeviceTrackerRaceTest, AnEndMayMeetArrivals) {
  for (int run = 0; run < 20; ++run) {
    SimulatedDeviceTree tree;
    HardwareIdRepository repository;
    auto tracker = std::make_unique<PnPDeviceTracker>(repository, tree);
    ASSERT_TRUE(tracker->Start());
    std::thread plugging([&tree] {
      for (int number = 0; number < 50; ++number) tree.Plug(Key("1"_w));
    });
    tracker.reset();
    plugging.join();
    EXPECT_LE(repository.Size(), 2U);
  }
}

}  // namespace
