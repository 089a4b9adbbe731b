#pragma once

#include "yox/platform/registry/Registry.h"

namespace yox_test {

// The key that the tests of the Linux registry write to.
inline const yox::platform::RegistryKey kTestKey{
    HKEY_LOCAL_MACHINE, yox::WString(u"SOFTWARE\\Contoso"), {}, {}};

}  // namespace yox_test
