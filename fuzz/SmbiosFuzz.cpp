#include "yox/platform/firmware/Smbios.h"

#include "fuzz/FuzzInput.h"

// A table, as firmware hands it out.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  yox::smbios::Read(bytes);
  const std::size_t cut = size / 4;
  yox::smbios::Read(bytes.substr(0, cut), bytes.substr(cut));
  const yox::WString text = YOX::String::UTF8ToUTF16(bytes);
  const yox::WString date = yox::smbios::IsoDate(text);
  FUZZ_CHECK(date == text || date.size() == 10);
  yox::smbios::WithoutPlaceholder(text);
  return 0;
}
