#include "yox/clientbase/Smbios.h"

#include "fuzz/FuzzInput.h"

// A table, as firmware hands it out.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  YOX::smbios::Read(bytes);
  const std::size_t cut = size / 4;
  YOX::smbios::Read(bytes.substr(0, cut), bytes.substr(cut));
  const YOX::WString text = YOX::String::UTF8ToUTF16(bytes);
  const YOX::WString date = YOX::smbios::IsoDate(text);
  FUZZ_CHECK(date == text || date.size() == 10);
  YOX::smbios::WithoutPlaceholder(text);
  return 0;
}
