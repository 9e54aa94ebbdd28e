#include "smbios_structures.h"

#include <algorithm>

#include "ErrorCodes.h"
#include "smbios_error.h"

namespace Module::BIOSConfig {

namespace {

constexpr size_t kHeaderLength = 4;
constexpr size_t kTypeOffset = 0;
constexpr size_t kLengthOffset = 1;
constexpr size_t kHandleOffset = 2;

[[noreturn]] void TableMalformed(const std::string& detail) {
  ThrowSmbios(ErrorCode::kSmbiosTableMalformed, detail);
}

// Where the string set starting at start ends (just past its double NUL), or nullopt when
// the table ends first. A structure without strings has the double NUL alone.
std::optional<size_t> StringSetEnd(ByteView table, size_t start) {
  for (size_t i = start; table.Has(i, 2); ++i) {
    if (table.begin()[i] == 0 && table.begin()[i + 1] == 0) return i + 2;
  }
  return std::nullopt;
}

// The strings of the set [start, end). A set whose first byte is NUL holds none, even when
// text follows before the double NUL.
std::vector<std::string> SplitStrings(ByteView table, size_t start, size_t end) {
  std::vector<std::string> strings;
  const uint8_t* cursor = table.begin() + start;
  const uint8_t* const last = table.begin() + end - 2;  // the double NUL
  if (cursor == last || *cursor == 0) return strings;
  for (;;) {  // every string ends at a NUL no later than last
    const uint8_t* nul = std::find(cursor, last + 1, uint8_t{0});
    strings.emplace_back(cursor, nul);
    if (nul == last) return strings;
    cursor = nul + 1;
  }
}

// Reads the structure at offset, whose formatted area and string set lie inside the table.
Structure ReadStructure(ByteView table, size_t offset, size_t number) {
  if (!table.Has(offset, kHeaderLength)) {
    TableMalformed("structure " + std::to_string(number) + " at offset " + HexOffset(offset) +
                   ": its header runs past the table end " + HexOffset(table.size()));
  }
  Structure s;
  s.number = number;
  s.offset = offset;
  s.type = *table.Read<uint8_t>(offset + kTypeOffset);
  s.handle = *table.Read<uint16_t>(offset + kHandleOffset);
  const uint8_t length = *table.Read<uint8_t>(offset + kLengthOffset);
  if (length < kHeaderLength) {
    TableMalformed(Describe(s) + " has length " + std::to_string(length) +
                   ", shorter than its 4-byte header");
  }
  if (!table.Has(offset, length)) {
    TableMalformed(Describe(s) + " runs past the table end " + HexOffset(table.size()) +
                   " (formatted area of " + std::to_string(length) + " bytes)");
  }
  const std::optional<size_t> end = StringSetEnd(table, offset + length);
  if (!end) {
    TableMalformed(Describe(s) + ": its string set at " + HexOffset(offset + length) +
                   " is not terminated by a double NUL before the table end " +
                   HexOffset(table.size()));
  }
  s.formatted = table.Slice(offset, length).Copy();
  s.strings = SplitStrings(table, offset + length, *end);
  s.end = *end;
  return s;
}

}  // namespace

std::vector<Structure> WalkTable(ByteView table, const EntryPoint& entryPoint) {
  std::vector<Structure> structures;
  size_t offset = 0;
  // 2.x tables from before the end-of-table structure existed end by their count.
  while (entryPoint.structureCount == 0 || structures.size() < entryPoint.structureCount) {
    if (offset >= table.size()) {
      TableMalformed("the table ends at " + HexOffset(table.size()) + " after " +
                     std::to_string(structures.size()) +
                     " structures without an end-of-table structure (type 127)");
    }
    structures.push_back(ReadStructure(table, offset, structures.size() + 1));
    if (structures.back().type == kEndOfTableType) break;
    offset = structures.back().end;
  }
  return structures;
}

std::string Describe(const Structure& s) {
  return "structure " + std::to_string(s.number) + " (type " + std::to_string(s.type) +
         ", handle " + HandleText(s.handle) + ") at offset " + HexOffset(s.offset);
}

std::optional<std::string> StringField(const Structure& structure, size_t offset) {
  const std::optional<uint8_t> index = Field<uint8_t>(structure, offset);
  if (!index) return std::nullopt;
  if (*index == 0) return std::string();
  if (*index > structure.strings.size()) {
    ThrowSmbios(ErrorCode::kSmbiosBadStringIndex,
                Describe(structure) + " names string " + std::to_string(*index) + " at " +
                    HexOffset(offset) + " but holds " + std::to_string(structure.strings.size()) +
                    " strings");
  }
  return structure.strings[*index - 1];
}

}  // namespace Module::BIOSConfig
