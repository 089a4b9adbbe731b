#include <gtest/gtest.h>

#include "host/yoxd/Redeliveries.h"
#include "host/yoxd/tests/Message.h"

namespace yoxd {
namespace {

using yoxd_test::Message;

TEST(RedeliveriesTest, AMessageOfTheFormerConnectionIsRepeatedOnce) {
  Redeliveries redeliveries;
  redeliveries.Connected(false);
  EXPECT_FALSE(redeliveries.IsRepeated(Message(1, "a")));
  EXPECT_FALSE(redeliveries.IsRepeated(Message(1, "a")));  // equal, on the same connection
  redeliveries.Connected(true);
  EXPECT_TRUE(redeliveries.IsRepeated(Message(1, "a")));
  EXPECT_TRUE(redeliveries.IsRepeated(Message(1, "a")));  // there were two
  EXPECT_FALSE(redeliveries.IsRepeated(Message(1, "a")));
}

TEST(RedeliveriesTest, OtherContentUnderAnIdentifierIsNew) {
  Redeliveries redeliveries;
  redeliveries.Connected(false);
  EXPECT_FALSE(redeliveries.IsRepeated(Message(1, "a")));
  redeliveries.Connected(true);
  EXPECT_FALSE(redeliveries.IsRepeated(Message(1, "b")));
  EXPECT_FALSE(redeliveries.IsRepeated(Message(1, "a")));  // the identifier was in use again
  EXPECT_FALSE(redeliveries.IsRepeated(Message(2, "a")));
}

TEST(RedeliveriesTest, AnEndedSessionRepeatsNothing) {
  Redeliveries redeliveries;
  redeliveries.Connected(false);
  EXPECT_FALSE(redeliveries.IsRepeated(Message(1, "a")));
  redeliveries.Connected(false);
  EXPECT_FALSE(redeliveries.IsRepeated(Message(1, "a")));
}

TEST(RedeliveriesTest, OnlyTheFirstMessagesOfAConnectionAreRepetitions) {
  for (const bool late : {false, true}) {
    Redeliveries redeliveries;
    redeliveries.Connected(false);
    EXPECT_FALSE(redeliveries.IsRepeated(Message(60'000, "a")));
    redeliveries.Connected(true);
    const std::size_t others = Redeliveries::kFirst - (late ? 0 : 1);
    for (std::size_t i = 1; i <= others; ++i) {
      EXPECT_FALSE(redeliveries.IsRepeated(Message(static_cast<int>(i), "other")));
    }
    EXPECT_EQ(redeliveries.IsRepeated(Message(60'000, "a")), !late);
  }
}

TEST(RedeliveriesTest, WhatAFormerProcessReceivedIsRecognised) {
  Redeliveries redeliveries;
  redeliveries.Restore({{7, Redeliveries::FingerprintOf(Message(7, "a"))}});
  redeliveries.Connected(true);
  EXPECT_TRUE(redeliveries.IsRepeated(Message(7, "a")));
}

}  // namespace
}  // namespace yoxd
