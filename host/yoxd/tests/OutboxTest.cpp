#include <gtest/gtest.h>

#include "host/yoxd/Outbox.h"
#include "tests/support/TemporaryFolder.h"

namespace yoxd {
namespace {

class OutboxTest : public testing::Test {
 protected:
  // Hands the next item over under this number, and returns its payload.
  static std::string Send(Outbox& outbox, int number) {
    const auto item = outbox.Next();
    if (!item) return "(none)";
    outbox.Sent(number);
    return item->payload;
  }

  yox_test::TemporaryFolder root_;
  StateFolder folder_{root_.path()};
};

TEST_F(OutboxTest, AFullQueueDropsItsOldestMessages) {
  Outbox outbox(folder_, {.messages = 2});
  for (const char* const payload : {"1", "2", "3"}) outbox.Post("t", payload);
  EXPECT_EQ(outbox.messages(), 2);
  EXPECT_EQ(outbox.dropped(), 1);
  EXPECT_EQ(Send(outbox, 1), "2");
}

TEST_F(OutboxTest, ItsBytesAreBoundedToo) {
  Outbox outbox(folder_, {.messages = 100, .bytes = 80});
  for (const char digit : {'1', '2', '3'}) outbox.Post("t", std::string(39, digit));
  EXPECT_EQ(outbox.messages(), 2);
  EXPECT_EQ(outbox.bytes(), 80);
  EXPECT_EQ(outbox.dropped(), 1);
  EXPECT_EQ(Send(outbox, 1).front(), '2');
}

TEST_F(OutboxTest, AMessageThatNeverFitsIsDroppedAlone) {
  Outbox outbox(folder_, {.messages = 100, .bytes = 80});
  outbox.Post("t", "short");
  outbox.Post("t", std::string(80, 'x'));
  EXPECT_EQ(outbox.messages(), 1);
  EXPECT_EQ(outbox.dropped(), 1);
  EXPECT_EQ(Send(outbox, 1), "short");
}

TEST_F(OutboxTest, WhatIsOnItsWayIsNotDropped) {
  Outbox outbox(folder_, {.messages = 1});
  outbox.Post("t", "sent");
  EXPECT_EQ(Send(outbox, 1), "sent");
  outbox.Post("t", "dropped");
  outbox.Post("t", "last");
  EXPECT_EQ(Send(outbox, 2), "last");
  outbox.Acknowledged(1);
  outbox.Acknowledged(2);
  EXPECT_TRUE(outbox.empty());
  EXPECT_EQ(outbox.bytes(), 0);
  EXPECT_EQ(outbox.dropped(), 1);
}

TEST_F(OutboxTest, TheQueueOnDiskIsBoundedWhenItIsReadAgain) {
  {
    Outbox outbox(folder_, {.messages = 10, .on_disk = true});
    for (const char* const payload : {"1", "2", "3", "4", "5"}) outbox.Post("t", payload);
  }
  Outbox outbox(folder_, {.messages = 2, .on_disk = true});
  EXPECT_EQ(outbox.messages(), 2);
  EXPECT_EQ(outbox.dropped(), 3);
  EXPECT_EQ(Send(outbox, 1), "4");
}

TEST_F(OutboxTest, WithoutADiskTheFileIsRemoved) {
  { Outbox(folder_, {.on_disk = true}).Post("t", "private"); }
  Outbox outbox(folder_, {});
  EXPECT_TRUE(outbox.empty());
  EXPECT_EQ(folder_.Read("queue.jsonl"), std::nullopt);
}

TEST_F(OutboxTest, OnlyWhatWasNotAcknowledgedIsSentAgain) {
  Outbox outbox(folder_, {});
  outbox.Post("t", "first");
  outbox.Post("t", "overtaken");
  EXPECT_EQ(Send(outbox, 1), "first");
  EXPECT_EQ(Send(outbox, 2), "overtaken");
  outbox.Acknowledged(2);
  outbox.Resend();
  EXPECT_EQ(outbox.in_flight(), 0);
  EXPECT_EQ(outbox.bytes(), std::string("tfirst").size());
  EXPECT_EQ(Send(outbox, 3), "first");
  outbox.Acknowledged(1);  // of the former connection
  EXPECT_EQ(outbox.in_flight(), 1);
  outbox.Acknowledged(3);
  EXPECT_TRUE(outbox.empty());
  EXPECT_EQ(outbox.acknowledged(), 2);
}

TEST_F(OutboxTest, AStateIsSentWhenItChangesAndBeforeTheQueue) {
  Outbox outbox(folder_, {});
  outbox.Post("q", "message");
  outbox.SetState("s", "old");
  outbox.SetState("s", "new");  // takes the place of the one that was not sent
  EXPECT_TRUE(outbox.Next()->retained);
  EXPECT_EQ(Send(outbox, 1), "new");
  outbox.Acknowledged(1);
  outbox.SetState("s", "new");
  EXPECT_EQ(outbox.pending_states(), 0);
  EXPECT_FALSE(outbox.Next()->retained);
  outbox.Repeat("s");
  outbox.Repeat("unknown");
  EXPECT_EQ(Send(outbox, 2), "new");
  outbox.Acknowledged(2);
  outbox.ForgetStates();
  EXPECT_EQ(Send(outbox, 3), "new");
}

TEST_F(OutboxTest, AStateThatChangesOnItsWayIsOnItsWayOnce) {
  Outbox outbox(folder_, {});
  outbox.SetState("s", "old");
  EXPECT_EQ(Send(outbox, 1), "old");
  outbox.SetState("s", "new");
  EXPECT_EQ(Send(outbox, 2), "new");
  EXPECT_EQ(outbox.in_flight(), 1);
  outbox.Acknowledged(1);  // of the former value
  EXPECT_FALSE(outbox.empty());
  outbox.Acknowledged(2);
  EXPECT_TRUE(outbox.empty());
}

TEST_F(OutboxTest, ALostStateIsSentAgain) {
  Outbox outbox(folder_, {});
  outbox.SetState("s", "value");
  EXPECT_EQ(Send(outbox, 1), "value");
  EXPECT_EQ(outbox.Next(), std::nullopt);
  outbox.Resend();
  EXPECT_EQ(outbox.in_flight(), 0);
  EXPECT_EQ(Send(outbox, 1), "value");
}

}  // namespace
}  // namespace yoxd
