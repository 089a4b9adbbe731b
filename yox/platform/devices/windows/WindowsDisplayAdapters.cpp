#include "yox/platform/devices/windows/WindowsDisplayAdapters.h"

#include "yox/platform/system/windows/Com.h"
// Behind windows.h.
#include <dxgi1_6.h>

namespace yox::platform {
namespace {

constexpr IID kFactory6 = {
    0xc1b6694f, 0xff09, 0x44a9, {0xb0, 0x3c, 0x77, 0x90, 0x0a, 0x0a, 0x1d, 0x17}};
constexpr IID kFactory1 = {
    0x770aae78, 0xf26f, 0x4dba, {0xa8, 0x29, 0x25, 0x3c, 0x83, 0xd1, 0xb3, 0x87}};

using Create = HRESULT(WINAPI*)(REFIID, void**);

// Returns nullptr if the system has no DXGI. Found when it is first needed, because loading its
// library, with the graphics driver, takes longer than loading all others; it stays loaded.
Create CreateFactory() {
  const HMODULE library = LoadLibraryExW(L"dxgi.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (library == nullptr) return nullptr;
  return reinterpret_cast<Create>(
      reinterpret_cast<void*>(GetProcAddress(library, "CreateDXGIFactory1")));
}

}  // namespace

std::optional<std::vector<DisplayAdapter>> WindowsDisplayAdapters::Enumerate() {
  const ComInit com(false);  // for this call only
  if (!com.isOK()) return std::nullopt;
  static const Create create = CreateFactory();
  ComPointer<IDXGIFactory1> factory;
  if (create == nullptr || (FAILED(create(kFactory6, factory.out_void())) &&
                            FAILED(create(kFactory1, factory.out_void())))) {
    return std::nullopt;
  }
  constexpr int kMostFailures = 64;
  std::vector<DisplayAdapter> adapters;
  int failures = 0;
  for (UINT index = 0; failures < kMostFailures; ++index) {
    ComPointer<IDXGIAdapter1> adapter;
    const HRESULT result = factory->EnumAdapters1(index, adapter.out());
    if (result == DXGI_ERROR_NOT_FOUND) break;
    if (FAILED(result) || !adapter) {
      ++failures;
      continue;
    }
    failures = 0;
    DXGI_ADAPTER_DESC1 description{};
    if (FAILED(adapter->GetDesc1(&description))) continue;
    adapters.push_back({WString(description.Description),
                        (description.Flags & DXGI_ADAPTER_FLAG_SOFTWARE) != 0,
                        description.DedicatedVideoMemory, description.DedicatedSystemMemory,
                        description.SharedSystemMemory});
  }
  return adapters;
}

}  // namespace yox::platform
