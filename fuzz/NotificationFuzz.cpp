#include <string>

#include "yox/notifications/YOXNotificationData.h"

#include "fuzz/FuzzInput.h"

// The whole input as an envelope, as a document of the channel, and as each payload document.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using yox::WString;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const WString text = YOX::String::UTF8ToUTF16(bytes);

  // What was read is written, and reads back as the same.
  const YOXNotificationData internal(text, false);
  const YOXNotificationData again(internal.getJsonMessage(), false);
  FUZZ_CHECK(again.getTopicId() == internal.getTopicId());
  FUZZ_CHECK(again.getEventState() == internal.getEventState());
  FUZZ_CHECK(again.getPayload() == internal.getPayload());
  FUZZ_CHECK(internal.getMessageForKXP().empty());

  const YOXNotificationData channel(text, true);
  FUZZ_CHECK(channel.getPayload() == text);
  FUZZ_CHECK(channel.getTopicId() == -1 && channel.getEventState() == -1);
  FUZZ_CHECK(channel.getLogStatus().empty() || !channel.getMessageForKXP().empty());
  channel.getJsonMessage();
  // The styled message reads as the document it was made from.
  const YOXNotificationData reread(channel.getMessageForKXP(), true);
  FUZZ_CHECK(reread.getMessageType() == channel.getMessageType());
  FUZZ_CHECK(reread.getDeviceActionState() == channel.getDeviceActionState());

  const YOXNotificationData payload(1, 1, text);
  bool flag = false;
  bool other = false;
  WString a, b, c, d, e;
  std::int32_t delay = 7;
  std::uint32_t minutes = 7;
  payload.deserializePayloadForYoxPolicy(text, flag, other, a, b);
  payload.deserializePayloadForDeviceRegistration(flag, a, b, c, delay);
  payload.getDeviceIdFromRegistrationPayload();
  payload.deserializePayloadForConfigChangeDuringStartup(flag);
  payload.deserializePayloadForForceConfigFetch(minutes);
  payload.deserializePayloadForPackageEvent(a, b, c, d, e);
  const YOXNotificationData package(1, 1, payload.serializePayloadForPackageEvent(a, b, c, d, e));
  WString f, g, h, i, j;
  package.deserializePayloadForPackageEvent(f, g, h, i, j);
  FUZZ_CHECK(a == f && b == g && c == h && d == i && e == j);
  return 0;
}
