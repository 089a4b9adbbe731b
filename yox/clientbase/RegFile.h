#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/Export.h"
#include "yox/platform/registry/Registry.h"

// Registry files as Windows writes and reads them, version 5.00, in UTF-16 (little endian, with
// byte order mark) or UTF-8.
namespace yox {

// The edits that the file asks for, in its order; what it deletes need not be there. Throws
// DocumentError with the line of what is malformed: "line 3: ...".
YOX_API std::vector<platform::RegistryEdit> ReadRegFile(std::string_view bytes);

enum class RegFileEncoding { kUtf8, kUtf16 };

// A file that asks for these edits. Their roots are the three hives. Lines end as on Windows.
YOX_API std::string WriteRegFile(std::span<const platform::RegistryEdit> edits,
                                 RegFileEncoding encoding);

// The edits that make the key and everything below it as it is now.
YOX_API platform::RegistryStatus EditsThatMake(platform::Registry& registry,
                                               const platform::RegistryKey& key,
                                               std::vector<platform::RegistryEdit>& edits);

}  // namespace yox
