#pragma once

#include <windows.h>
// Behind windows.h.
#include <objbase.h>
#include <oleauto.h>

#include <utility>

#include "yox/base/ThreadSlot.h"
#include "yox/base/WString.h"

namespace yox::platform {

// A reference to a COM object.
template <class T>
class ComPointer {
 public:
  ComPointer() = default;
  ComPointer(ComPointer&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComPointer& operator=(ComPointer&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ComPointer() {
    if (object_ != nullptr) object_->Release();
  }

  T* operator->() const { return object_; }
  T* get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  // For a call that gives a new reference; the pointer must be empty.
  T** out() { return &object_; }
  void** out_void() { return reinterpret_cast<void**>(&object_); }

 private:
  T* object_ = nullptr;
};

// A text that COM allocates and counts.
class ComText {
 public:
  ComText() = default;
  explicit ComText(WStringView text)
      : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
  ~ComText() { SysFreeString(text_); }
  ComText(const ComText&) = delete;
  ComText& operator=(const ComText&) = delete;

  BSTR get() const { return text_; }
  BSTR* out() { return &text_; }
  WString Text() const { return WString(text_ != nullptr ? text_ : L"", SysStringLen(text_)); }

 private:
  BSTR text_ = nullptr;
};

// COM on the present thread, for the object's lifetime. A thread that already has it in another
// mode keeps that, which is as good.
class ComInit {
 public:
  explicit ComInit(bool single_threaded)
      : result_(
            CoInitializeEx(nullptr, static_cast<DWORD>(single_threaded ? COINIT_APARTMENTTHREADED
                                                                       : COINIT_MULTITHREADED))) {}
  ~ComInit() {
    if (SUCCEEDED(result_)) CoUninitialize();
  }
  ComInit(const ComInit&) = delete;
  ComInit& operator=(const ComInit&) = delete;

  bool isOK() const { return SUCCEEDED(result_) || result_ == RPC_E_CHANGED_MODE; }
  HRESULT result() const { return result_; }

  // This thread's own, made on first use and kept to the thread's end.
  static const ComInit& OfThread() {
    struct Own : ComInit {
      Own() : ComInit(false) {}
    };
    return ThreadOwned<Own>();
  }

 private:
  const HRESULT result_;
};

}  // namespace yox::platform
