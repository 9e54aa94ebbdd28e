#pragma once
// How decoded fields become answer values: bare decimal numbers, "Unknown" for what the
// table does not give, names for codes, strings as readers print them.

#include <cstdint>
#include <optional>
#include <string>

#include "smbios_structures.h"

namespace Module::BIOSConfig {

inline constexpr const char* kUnknown = "Unknown";

std::string Decimal(uint64_t value);

// The value in decimal, or Unknown when it is absent or 0 (the tables' "not given").
std::string NonZeroText(std::optional<uint64_t> value);

// The name of the code at offset (a one-byte field), or Unknown when the field is absent or
// the code has no name.
std::string CodeName(const Structure& s, size_t offset, const char* (*name)(uint8_t));

// The string the field at offset names, bytes other than printable ASCII shown as '.' and
// trailing blanks trimmed; Unknown when the field is absent, "" when it names none.
std::string StringText(const Structure& s, size_t offset);

}  // namespace Module::BIOSConfig
