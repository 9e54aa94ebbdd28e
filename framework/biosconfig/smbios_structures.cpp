#include "smbios_structures.h"

#include <algorithm>
#include <variant>

#include "ErrorCodes.h"
#include "smbios_error.h"

namespace Module::BIOSConfig {

namespace {

constexpr size_t kTypeOffset = 0;
constexpr size_t kLengthOffset = 1;
constexpr size_t kHandleOffset = 2;

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

// Reads the structure whose header starts at offset (the caller checked the header is there).
// Returns what is wrong with it instead when its formatted area or string set does not lie
// inside the table: nothing after it can be located either.
std::variant<Structure, std::string> ReadStructure(ByteView table, size_t offset, size_t number) {
  Structure s;
  s.number = number;
  s.offset = offset;
  s.type = *table.Read<uint8_t>(offset + kTypeOffset);
  s.handle = *table.Read<uint16_t>(offset + kHandleOffset);
  const uint8_t length = *table.Read<uint8_t>(offset + kLengthOffset);
  if (length < kHeaderLength) {
    return Describe(s) + " has length " + std::to_string(length) +
           ", shorter than its 4-byte header";
  }
  if (!table.Has(offset, length)) {
    return Describe(s) + " runs past the table end " + HexOffset(table.size()) +
           " (formatted area of " + std::to_string(length) + " bytes)";
  }
  const std::optional<size_t> end = StringSetEnd(table, offset + length);
  if (!end) {
    return Describe(s) + ": its string set at " + HexOffset(offset + length) +
           " is not terminated by a double NUL before the table end " + HexOffset(table.size());
  }
  s.formatted = table.Slice(offset, length).Copy();
  s.strings = SplitStrings(table, offset + length, *end);
  s.end = *end;
  return s;
}

}  // namespace

TableWalk WalkTable(ByteView table, const EntryPoint& entryPoint) {
  TableWalk walk;
  const size_t count = entryPoint.isVersion3 ? 0 : entryPoint.structureCount;
  size_t offset = 0;
  // Fewer than a header's bytes left over is where the table ends, not damage.
  while ((count == 0 || walk.structures.size() < count) && table.Has(offset, kHeaderLength)) {
    auto read = ReadStructure(table, offset, walk.structures.size() + 1);
    if (auto* damage = std::get_if<std::string>(&read)) {
      walk.damage = std::move(*damage);
      break;
    }
    walk.structures.push_back(std::move(std::get<Structure>(read)));
    offset = walk.structures.back().end;
    if (entryPoint.isVersion3 && walk.structures.back().type == kEndOfTableType) break;
  }
  if (walk.structures.empty()) {
    ThrowSmbios(ErrorCode::kSmbiosTableMalformed,
                walk.damage.empty()
                    ? "the table of " + std::to_string(table.size()) + " bytes holds no structure"
                    : walk.damage);
  }
  return walk;
}

Structure WholeGroups(const Structure& structure, std::initializer_list<size_t> groupEnds) {
  const size_t length = structure.formatted.size();
  size_t usable = kHeaderLength;
  for (const size_t end : groupEnds) {
    if (length < end) break;
    usable = end;
  }
  if (groupEnds.size() != 0 && length >= *(groupEnds.end() - 1)) usable = length;
  Structure cut = structure;
  cut.formatted.resize(std::min(usable, length));
  return cut;
}

std::string Describe(const Structure& s) {
  return "structure " + std::to_string(s.number) + " (type " + std::to_string(s.type) +
         ", handle " + HandleText(s.handle) + ") at offset " + HexOffset(s.offset);
}

std::optional<std::string> StringField(const Structure& structure, size_t offset) {
  const std::optional<uint8_t> index = Field<uint8_t>(structure, offset);
  if (!index) return std::nullopt;
  if (*index == 0) return std::string();
  if (*index > structure.strings.size()) return std::string(kBadStringIndex);
  return structure.strings[*index - 1];
}

}  // namespace Module::BIOSConfig
