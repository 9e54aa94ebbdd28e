#pragma once
// The structure table as a list of structures, and bounds-checked access to their fields.
// A field beyond a structure's length is absent (the structure predates it) and reads as
// nullopt; the decoders turn that into "Unknown".

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "smbios_bytes.h"
#include "smbios_entry_point.h"

namespace Module::BIOSConfig {

constexpr uint8_t kEndOfTableType = 127;
constexpr size_t kHeaderLength = 4;

struct Structure {
  size_t number = 0;  // 1-based position in the table
  size_t offset = 0;  // of the header, from the table start
  size_t end = 0;     // just past its string set: where the next structure starts
  uint8_t type = 0;
  uint16_t handle = 0;
  ByteVector formatted;  // the formatted area, header included
  std::vector<std::string> strings;
};

// The structures that could be read, in table order, and what stopped the walk early.
struct TableWalk {
  std::vector<Structure> structures;
  std::string damage;  // "" when the table ends where its entry point says
};

// Walks the table as firmware readers do: up to its length (3.x: a maximum) or, for 2.x, the
// entry point's structure count; a 3.x table also ends at its end-of-table structure, which
// may be missing, while 2.x firmware is known to put structures after it. A structure shorter
// than its header, one running past the table or an unterminated string set ends the walk:
// the structures before it are kept and damage says what broke where. Throws
// kSmbiosTableMalformed only when not one structure can be read.
TableWalk WalkTable(ByteView table, const EntryPoint& entryPoint);

// "structure 5 (type 17, handle 0x0011) at offset 0x1a4", for error details.
std::string Describe(const Structure& structure);

// The structure cut to the whole groups of fields it holds. Each SMBIOS version added fields
// in groups, and a structure cut inside a group (an older layout, or firmware that got its
// length wrong) lacks all of that group, as firmware readers decide: groupEnds are the lengths
// at which the structure's type completes a group, in ascending order. Past the last one,
// every field the structure holds counts.
Structure WholeGroups(const Structure& structure, std::initializer_list<size_t> groupEnds);

template <typename T>
std::optional<T> Field(const Structure& structure, size_t offset) {
  return ByteView(structure.formatted).Read<T>(offset);
}

// What a string index beyond the structure's string set reads as, as other readers print it.
inline constexpr const char* kBadStringIndex = "<BAD INDEX>";

// The string the string-index byte at offset names: nullopt when the field is absent, "" for
// index 0 (none given), kBadStringIndex for an index beyond the string set.
std::optional<std::string> StringField(const Structure& structure, size_t offset);

}  // namespace Module::BIOSConfig
