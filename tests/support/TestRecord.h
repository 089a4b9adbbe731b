#pragma once

#include <memory>

#include "yox/device/MachineInformation.h"

namespace yox_test {

// A machine record of the test's own, empty until the test fills it; its protected operations are
// public.
class TestRecord : public MachineInformation {
 public:
  TestRecord() = default;
  using MachineInformation::DeSerialize;
  using MachineInformation::Initialize;
  using MachineInformation::LoadMachineInformationFromFile;
  using MachineInformation::ReadMachineInformation;
  using MachineInformation::SanitizeString;
  using MachineInformation::SaveMachineInformationToFile;
  using MachineInformation::Serialize;
  using MachineInformation::SetMachineType;
  using MachineInformation::SetSerialNumber;
};

inline std::shared_ptr<TestRecord> MakeRecord() { return std::make_shared<TestRecord>(); }

}  // namespace yox_test
