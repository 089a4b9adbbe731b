#pragma once

#include "yox/tags/AppAndTagCollection.h"

namespace yox_test {

// A tag collection of the test's own.
class TestCollection : public AppAndTagCollection {
 public:
  TestCollection() = default;
  ~TestCollection() = default;
};

}  // namespace yox_test
