#pragma once

#include <memory>

#include "yox/device/MachineInformation.h"

namespace yox_test {

// A record that a test fills by its setters.
class TestRecord : public MachineInformation {
 public:
  TestRecord() = default;
};

inline std::shared_ptr<TestRecord> MakeRecord() { return std::make_shared<TestRecord>(); }

}  // namespace yox_test
