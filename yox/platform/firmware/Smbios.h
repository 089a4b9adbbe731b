#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "yox/base/WString.h"
#include "yox/platform/firmware/Firmware.h"

// Reads the firmware's system management tables (SMBIOS, DMTF DSP0134). Pure functions, safe from
// any thread. The bytes need not be well-formed: a wrong length, an unterminated string or a
// structure that is cut off leaves only the fields in it empty.
namespace yox::smbios {

// Reads a table in any of the forms in which systems provide it: plain structures, structures after
// an entry point of 32 or 64 bits (a dump), or after the eight bytes of header that Windows adds.
// Without an entry point or header the version is empty. Returns std::nullopt if not one structure
// can be read.
std::optional<platform::FirmwareFacts> Read(std::string_view bytes);

// The same for an entry point and structures in two files. An entry point that cannot be read
// leaves the version empty.
std::optional<platform::FirmwareFacts> Read(std::string_view entry_point,
                                            std::string_view structures);

// Returns the text without white space around it; an empty text if it is one of those that
// manufacturers leave in a field that they did not fill in ("To Be Filled By O.E.M.", "0000000").
WString WithoutPlaceholder(WStringView text);

// The placeholders that WithoutPlaceholder compares with, without regard to letter case. It also
// removes a text that repeats one character.
std::span<const WStringView> Placeholders();

// Returns the name of a chassis type: "Notebook" for 10. Ignores the lock bit (128). Empty for a
// number without a name.
WString EnclosureName(unsigned type);

// Returns "2025-11-03" for the firmware's "11/03/2025", "1999-11-03" for its "11/03/99", and any
// other text unchanged.
WString IsoDate(WStringView text);

}  // namespace yox::smbios
