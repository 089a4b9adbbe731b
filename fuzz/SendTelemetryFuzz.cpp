#include <algorithm>

#include "yox/notifications/SendTelemetryCommandHandler.h"

#include "fuzz/FuzzInput.h"

// The whole input as a sendTelemetry command.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const yox::WString text =
      YOX::String::UTF8ToUTF16(std::string_view(reinterpret_cast<const char*>(data), size));
  YOX::SendTelemetryCommandParams params;
  YOX::SendTelemetryCommandHandler::DeserializeSendTelemetryCommand(YOX::g_log, text, params);
  // The word itself is never among the names.
  FUZZ_CHECK(std::ranges::none_of(params.dataSets, [](const yox::WString& name) {
    return YOX::String::CaseInsesitiveEqual(name, YOX::operator""_wv<"all">());
  }));
  return 0;
}
