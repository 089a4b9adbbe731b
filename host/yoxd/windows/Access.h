#pragma once

#include <windows.h>

#include <string>

namespace yoxd {

// The access of something that is created for the local system, the administrators and this account
// alone, whatever its folder would hand down.
class PrivateAccess {
 public:
  // `more` are further entries in the security descriptor language, such as "(A;;FA;;;WD)". Throws
  // std::system_error when the account cannot be found out.
  explicit PrivateAccess(const std::wstring& more = {});
  ~PrivateAccess();
  PrivateAccess(const PrivateAccess&) = delete;
  PrivateAccess& operator=(const PrivateAccess&) = delete;

  SECURITY_ATTRIBUTES* attributes() { return &attributes_; }
  PSECURITY_DESCRIPTOR descriptor() const { return descriptor_; }

 private:
  PSECURITY_DESCRIPTOR descriptor_ = nullptr;
  SECURITY_ATTRIBUTES attributes_{};
};

// "S-1-5-32-544", for a group or account by its name, UTF-8; empty when there is none.
std::wstring SidOfName(const std::string& name);

// Throws std::system_error with the thread's last error.
[[noreturn]] void ThrowLastError(const std::string& what);

}  // namespace yoxd
