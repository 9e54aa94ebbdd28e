#pragma once
// How efivarfs names a variable's file: "NAME-guid". Pure text work, so every rule can be
// checked without a variables directory.

#include <optional>
#include <string>
#include <string_view>

#include "SMIProtocol.h"

namespace Ordix::SMI {

// The GUID as efivarfs writes it: lower case, 8-4-4-4-12.
std::string FormatGuid(const EFIGuid& guid);

// The name up to its first NUL, in the UTF-8 the kernel uses for file names. nullopt for a
// name no file can carry: empty, or holding '/'.
std::optional<std::string> NameForFile(std::u16string_view name);

// "NAME-guid", or nullopt when the name cannot be a file name.
std::optional<std::string> VariableFileName(std::u16string_view name, const EFIGuid& guid);

}  // namespace Ordix::SMI
