#include "yox/platform/system/windows/WindowsQueries.h"

#include "yox/platform/system/windows/Com.h"
// Behind windows.h.
#include <wbemidl.h>

namespace yox::platform {
namespace {

using Step = ManagementAnswer::Step;

ManagementValue Value(const VARIANT& value) {
  switch (value.vt) {
    case VT_BSTR:
      if (value.bstrVal == nullptr) return {};
      return WString(value.bstrVal, SysStringLen(value.bstrVal));
    case VT_I4:
      return std::int32_t{value.lVal};
    case VT_BOOL:
      return value.boolVal != VARIANT_FALSE;
    default:
      return {};
  }
}

}  // namespace

ManagementAnswer WindowsQueries::Ask(WStringView name_space, WStringView query,
                                     WStringView property) {
  ManagementAnswer answer;
  const auto failed = [&answer](Step step, HRESULT result) {
    if (SUCCEEDED(result)) return false;
    answer.failed = step;
    answer.error = static_cast<std::uint32_t>(result);
    return true;
  };

  const ComInit& com = ComInit::OfThread();
  if (!com.isOK()) {
    failed(Step::kThread, com.result());
    return answer;
  }
  ComPointer<IWbemLocator> locator;
  if (failed(Step::kLocator, CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER,
                                              IID_IWbemLocator, locator.out_void()))) {
    return answer;
  }
  ComPointer<IWbemServices> services;
  const ComText place(name_space);
  if (failed(Step::kConnect, locator->ConnectServer(place.get(), nullptr, nullptr, nullptr, 0,
                                                    nullptr, nullptr, services.out()))) {
    return answer;
  }
  if (failed(Step::kSecurity, CoSetProxyBlanket(services.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE,
                                                nullptr, RPC_C_AUTHN_LEVEL_CALL,
                                                RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE))) {
    return answer;
  }
  ComPointer<IEnumWbemClassObject> objects;
  const ComText language(L"WQL");
  const ComText text(query);
  if (failed(Step::kQuery,
             services->ExecQuery(language.get(), text.get(),
                                 WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                                 objects.out()))) {
    return answer;
  }
  const WString name(property);
  for (;;) {
    ComPointer<IWbemClassObject> object;
    ULONG count = 0;
    objects->Next(static_cast<LONG>(WBEM_INFINITE), 1, object.out(), &count);
    if (count == 0) return answer;
    VARIANT value;
    VariantInit(&value);
    const HRESULT read = object->Get(name.c_str(), 0, &value, nullptr, nullptr);
    answer.rows.push_back(SUCCEEDED(read) ? ManagementRow{0, Value(value)}
                                          : ManagementRow{static_cast<std::uint32_t>(read), {}});
    VariantClear(&value);
  }
}

}  // namespace yox::platform
