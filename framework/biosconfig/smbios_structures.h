#pragma once
// The structure table as a list of structures, and bounds-checked access to their fields.
// A field beyond a structure's length is absent (the structure predates it) and reads as
// nullopt; the decoders turn that into "Unknown".

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "smbios_bytes.h"
#include "smbios_entry_point.h"

namespace Module::BIOSConfig {

constexpr uint8_t kEndOfTableType = 127;

struct Structure {
  size_t number = 0;  // 1-based position in the table
  size_t offset = 0;  // of the header, from the table start
  size_t end = 0;     // just past its string set: where the next structure starts
  uint8_t type = 0;
  uint16_t handle = 0;
  ByteVector formatted;  // the formatted area, header included
  std::vector<std::string> strings;
};

// Walks the table up to and including its end-of-table structure (2.x: or until the entry
// point's structure count is reached). Throws kSmbiosTableMalformed, naming the structure and
// offset, for a structure shorter than its header, one running past the table, an
// unterminated string set or a table that ends without an end-of-table structure.
std::vector<Structure> WalkTable(ByteView table, const EntryPoint& entryPoint);

// "structure 5 (type 17, handle 0x0011) at offset 0x1a4", for error details.
std::string Describe(const Structure& structure);

template <typename T>
std::optional<T> Field(const Structure& structure, size_t offset) {
  return ByteView(structure.formatted).Read<T>(offset);
}

// The string the string-index byte at offset names: nullopt when the field is absent, "" for
// index 0 (none given). An index beyond the string set throws kSmbiosBadStringIndex.
std::optional<std::string> StringField(const Structure& structure, size_t offset);

}  // namespace Module::BIOSConfig
