#include "yox/platform/files/windows/PrivateAccess.h"

// After windows.h.
#include <sddl.h>

#include "yox/base/WString.h"

namespace yox::platform {

PrivateAccess::PrivateAccess() {
  const WString user = SidOfToken(OwnToken().get());
  if (user.empty()) return;
  // P: not inherited from above. OICI: inherited by what is created inside.
  const WString list = L"D:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)(A;OICI;FA;;;" + user + L")";
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                           &descriptor, nullptr) == FALSE) {
    return;
  }
  descriptor_.reset(descriptor);
  attributes_ = {sizeof(attributes_), descriptor, FALSE};
}

}  // namespace yox::platform
