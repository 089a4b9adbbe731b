#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/Export.h"
#include "yox/platform/registry/Registry.h"

// Registry files (.reg) of version 5.00, in UTF-16 (little endian, with byte order mark) or UTF-8.
//
// The format has no way to write a control character in a name. As an extension, "\uXXXX" in a
// quoted string is the UTF-16 code unit with these four hexadecimal digits, and so is "\\uXXXX" in
// the path of a key, where two separators in a row are otherwise malformed. The functions may be
// called from any thread.
namespace yox {

// Returns the edits that the file asks for, in its order; deletions in it succeed where there is
// nothing to delete. Throws DocumentError with the line and what is wrong there: "line 3: ...".
YOX_API std::vector<platform::RegistryEdit> ReadRegFile(std::string_view bytes);

enum class RegFileEncoding { kUtf8, kUtf16 };

// Returns a file that ReadRegFile reads as these edits, whatever characters names and values
// contain; it is safe to print on a terminal. The keys are below the three roots. Lines end with
// CR LF.
YOX_API std::string WriteRegFile(std::span<const platform::RegistryEdit> edits,
                                 RegFileEncoding encoding);

// Appends the edits that create the key and everything below it with its present values. Keys below
// that this process may not read are left out and appended to `denied`. On another failure returns
// its status; the edits are then incomplete.
YOX_API platform::RegistryStatus EditsThatMake(platform::Registry& registry,
                                               const platform::RegistryKey& key,
                                               std::vector<platform::RegistryEdit>& edits,
                                               std::vector<platform::RegistryKey>& denied);

}  // namespace yox
