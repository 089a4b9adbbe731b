#pragma once

#include <gtest/gtest.h>

#include <algorithm>

#include "yox/notifications/YOXPublisherSubscriber.h"

#include "host/yoxd/Text.h"
#include "tests/support/Latch.h"

namespace yoxd {

inline YOXNotificationData BusRecord(int topic) { return {topic, 1, Wide("{}")}; }

// Publishes records of the topics 1, 2, ... on the bus, as another component does.
inline void PublishOnBus(int count) {
  auto& bus = *YOXPublisherSubscriber::GetInstance();
  for (int sent = 0; sent < count;) {
    // In portions for which the bus has room.
    const int portion = std::min(count - sent, 500);
    yox_test::Latch delivered(portion);
    const auto id = bus.Subscribe([&](YOXNotificationData&) { delivered.CountDown(); }, false);
    for (int i = 0; i < portion; ++i) bus.Notify(BusRecord(++sent), {});
    ASSERT_TRUE(delivered.Wait());
    bus.Unsubscribe(id);
  }
}

}  // namespace yoxd
