#include "yox/platform/devices/windows/WindowsAccelerators.h"

#include <windows.h>
// Behind windows.h.
#include <setupapi.h>

#include <cstddef>

namespace yox::platform {
namespace {

constexpr GUID kComputeAccelerators = {
    0xf01a9d53, 0x3ff6, 0x48d2, {0x9f, 0x97, 0xc8, 0xa7, 0x00, 0x4b, 0xe1, 0x0c}};

template <std::size_t kBytes>
std::optional<WString> Property(HDEVINFO devices, SP_DEVINFO_DATA& device, DWORD property) {
  wchar_t text[kBytes / sizeof(wchar_t) + 1] = {};
  if (SetupDiGetDeviceRegistryPropertyW(devices, &device, property, nullptr,
                                        reinterpret_cast<BYTE*>(text), kBytes, nullptr) == FALSE) {
    return std::nullopt;
  }
  return WString(text);
}

}  // namespace

std::optional<std::vector<Accelerator>> WindowsAccelerators::Enumerate() {
  const HDEVINFO devices =
      SetupDiGetClassDevsW(&kComputeAccelerators, nullptr, nullptr, DIGCF_PRESENT | DIGCF_PROFILE);
  if (devices == INVALID_HANDLE_VALUE) return std::nullopt;
  std::vector<Accelerator> accelerators;
  SP_DEVINFO_DATA device{};
  device.cbSize = sizeof device;
  for (DWORD index = 0; SetupDiEnumDeviceInfo(devices, index, &device) != FALSE; ++index) {
    accelerators.push_back({Property<512>(devices, device, SPDRP_MFG),
                            Property<2048>(devices, device, SPDRP_DEVICEDESC)});
  }
  SetupDiDestroyDeviceInfoList(devices);
  return accelerators;
}

}  // namespace yox::platform
