#pragma once

#include "yox/notifications/YOXPublisherSubscriber.h"

namespace yox_test {

// A bus of the test's own; how many copies of a record it keeps is public.
class TestBus : public YOXPublisherSubscriber {
 public:
  TestBus() = default;
  ~TestBus() override = default;
  using YOXPublisherSubscriber::DeliveryCopyCount;
};

}  // namespace yox_test
