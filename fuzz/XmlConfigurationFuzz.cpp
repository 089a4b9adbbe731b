#include "yox/clientbase/XMLConfigAgent.h"

#include "fuzz/FuzzInput.h"

// The configuration file: whatever is in it, results are trimmed.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const XMLConfigAgent agent = XMLConfigAgent::Parse({reinterpret_cast<const char*>(data), size});
  for (const yox::WString& text :
       {agent.GetMachineType(), agent.GetSerialNumber(), agent.GetBIOSVersion(), agent.GetMTM(),
        agent.GetMachineModel()}) {
    FUZZ_CHECK(YOX::String::Trimmed(text) == text);
  }
  return 0;
}
