#include "yox/device/MachineInformation.h"

#include "fuzz/FuzzInput.h"

namespace {

class Record : public MachineInformation {
 public:
  Record() = default;
  using MachineInformation::DeSerialize;
  using MachineInformation::Serialize;
};

}  // namespace

// The text of a machine record's cache file. What was read of it is read back from what is written.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Record record;
  record.DeSerialize({reinterpret_cast<const char*>(data), size});
  const std::string written = record.Serialize();
  FUZZ_CHECK(!written.empty() && written.find('\n') == std::string::npos);
  Record again;
  again.DeSerialize(written);
  FUZZ_CHECK(again.Serialize() == written);
  FUZZ_CHECK(again.os_name() == record.os_name() &&
             again.serial_number() == record.serial_number());
  return 0;
}
