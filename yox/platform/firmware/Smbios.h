#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "yox/base/WString.h"
#include "yox/platform/firmware/Firmware.h"

// The firmware's system management tables (DMTF DSP0134). Every function is pure and safe from any
// thread, and takes bytes that nobody has checked: lengths that lie, strings that do not end and
// structures that are cut off cost the fields they hold, nothing more.
namespace yox::smbios {

// Reads a table in any of the forms in which systems hand it out: plain structures, structures
// behind an entry point of 32 or 64 bits (a dump), or behind the eight bytes that Windows puts in
// front. Without entry point or header the version is not known and stays empty. Nothing when not
// one structure can be read.
std::optional<platform::FirmwareFacts> Read(std::string_view bytes);

// The same for an entry point and plain structures that stand apart. An entry point that cannot be
// read leaves the version empty.
std::optional<platform::FirmwareFacts> Read(std::string_view entry_point,
                                            std::string_view structures);

// The text without surrounding white space; empty when it is one of the texts that makers leave
// where they filled nothing in ("To Be Filled By O.E.M.", "Default string", "0000000").
WString WithoutPlaceholder(WStringView text);

// The texts of that kind, in the letter case in which they are met most; beside them, a text that
// repeats one character names nothing.
std::span<const WStringView> Placeholders();

// "Notebook" for 10. The lock bit (128) is ignored; a number without a name gives the empty text.
WString EnclosureName(unsigned type);

// "2025-11-03" for the firmware's "11/03/2025", "1999-11-03" for its "11/03/99"; any other text
// comes back unchanged.
WString IsoDate(WStringView text);

}  // namespace yox::smbios
