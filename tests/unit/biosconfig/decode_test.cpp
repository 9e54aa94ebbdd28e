// Entry points, image splitting and the structure walk on hand-made bytes, damaged ones
// included: every damage must give its code and say where, never read past the bytes.

#include <gtest/gtest.h>

#include "ErrorCodes.h"
#include "ExpectStatus.h"
#include "SmbiosBuilder.h"
#include "smbios_answers.h"
#include "smbios_entry_point.h"
#include "smbios_structures.h"

namespace {

using namespace SmbiosTest;
using namespace Module::BIOSConfig;
namespace Code = ErrorCode;

// Recompute the checksums of an entry point after a deliberate change, so that only the
// change is wrong. They cover the standard lengths whatever the length byte says.
Bytes Outer2(Bytes ep) {
  ep[4] = 0;
  ep[4] = Checksum(ep, 0, 0x1F);
  return ep;
}
Bytes Refresh2(Bytes ep) {
  ep[0x15] = 0;
  ep[0x15] = Checksum(ep, 0x10, 0x0F);
  return Outer2(ep);
}
Bytes Refresh3(Bytes ep) {
  ep[5] = 0;
  ep[5] = Checksum(ep, 0, 0x18);
  return ep;
}
Bytes With(Bytes bytes, size_t offset, uint8_t value) {
  bytes[offset] = value;
  return bytes;
}

const Bytes kBios = Record(0, 0x0000, 0x18).U8(4, 1).Strings({"Acme"});

TEST(EntryPoint, BothLayoutsGiveVersionTableAndCount) {
  const auto fields = [](const EntryPoint& ep) {
    return std::make_tuple(ep.Version(), ep.isVersion3, int{ep.length}, uint64_t{ep.tableLength},
                           ep.tableAddress, int{ep.structureCount});
  };
  EXPECT_EQ(fields(DecodeEntryPoint(EntryPoint2(0x123, 7, 2, 7))),
            std::make_tuple(uint16_t{0x0207}, false, 0x1F, uint64_t{0x123}, uint64_t{0x20}, 7));
  // An image runs on past its entry point.
  EXPECT_EQ(
      fields(DecodeEntryPoint(Image(EntryPoint3(0x4000, 0x123456789A), {1, 2, 3}))),
      std::make_tuple(uint16_t{0x0304}, true, 0x18, uint64_t{0x4000}, uint64_t{0x123456789A}, 0));
}

TEST(EntryPoint, BadAnchorLengthOrChecksumIsMalformed) {
  const Bytes ep2 = EntryPoint2(0x100, 3);
  const Bytes ep3 = EntryPoint3(0x100);
  const std::vector<std::tuple<const char*, Bytes, const char*>> cases = {
      {"empty", {}, "anchor"},
      {"anchor only, cut", {'_', 'S', 'M', '_'}, "length byte"},
      {"unknown anchor", Refresh2(With(ep2, 1, 'X')), "anchor"},
      {"2.x checksum", With(ep2, 4, static_cast<uint8_t>(ep2[4] + 1)), "checksum"},
      {"2.x intermediate anchor", Refresh2(With(ep2, 0x11, 'X')), "_DMI_"},
      {"2.x intermediate checksum", Outer2(With(ep2, 0x16, 0x55)), "intermediate checksum"},
      {"2.x length too short", Refresh2(With(ep2, 5, 0x1E)), "length 0x1e"},
      {"2.x length too long", Refresh2(With(ep2, 5, 0x40)), "length 0x40"},
      {"2.x cut short", Bytes(ep2.begin(), ep2.end() - 1), "only 30 bytes"},
      {"3.x checksum", With(ep3, 0x0C, 0x01), "checksum"},
      {"3.x length too short", Refresh3(With(ep3, 6, 0x10)), "length 0x10"},
      {"3.x cut short", Bytes(ep3.begin(), ep3.begin() + 0x10), "only 16 bytes"},
  };
  for (const auto& [name, bytes, detail] : cases) {
    ExpectStatus([&] { DecodeEntryPoint(bytes); }, Code::kSmbiosEntryPointMalformed, detail, name);
  }
}

TEST(SplitImage, TableAtTheAddressMustLieInsideTheImage) {
  const Bytes table = Join({kBios, EndOfTable()});
  const Bytes ep2 = EntryPoint2(table.size(), 2);
  // A 2.x table is exactly its length, trailing bytes dropped.
  SmbiosTables split = SplitImage(Image(ep2, Join({table, {0xAA, 0xBB}})));
  EXPECT_EQ(split.entryPoint, ep2);
  EXPECT_EQ(split.table, table);
  // A 3.x table may end before its maximum size.
  split = SplitImage(Image(EntryPoint3(table.size() + 500), table));
  EXPECT_EQ(split.table, table);

  const Bytes shortTable(table.begin(), table.end() - 1);
  ExpectStatus([&] { SplitImage(Image(ep2, shortTable)); }, Code::kSmbiosTableMalformed,
               "runs past the image end", "2.x table cut");
  ExpectStatus([&] { SplitImage(Image(EntryPoint3(table.size(), 0x1000), table)); },
               Code::kSmbiosTableMalformed, "lies past the image end", "3.x address outside");
  ExpectStatus([&] { SplitImage(Image(EntryPoint3(table.size(), ~uint64_t{0}), table)); },
               Code::kSmbiosTableMalformed, "lies past the image end", "3.x address 2^64-1");
}

TEST(WalkTable, StructuresInOrderWithTheirStringsUpToTheEnd) {
  const Bytes first = Record(4, 0x0040, 0x1A).Strings({"CPU1", "Acme Corp"});
  Bytes leadNul = Record(1, 0x0001, 8);
  leadNul.resize(8);
  leadNul.insert(leadNul.end(), {0, 'x', 0, 0});  // a set that starts with NUL holds nothing
  const Bytes table = Join({first, leadNul, EndOfTable(), kBios});  // kBios lies past the end
  const std::vector<Structure> s = WalkTable(table, DecodeEntryPoint(EntryPoint3(table.size())));
  ASSERT_EQ(s.size(), 3U);
  EXPECT_EQ(std::make_tuple(s[0].number, s[0].offset, s[0].type, s[0].handle, s[0].end),
            std::make_tuple(size_t{1}, size_t{0}, uint8_t{4}, uint16_t{0x40}, first.size()));
  EXPECT_EQ(s[0].strings, (std::vector<std::string>{"CPU1", "Acme Corp"}));
  EXPECT_EQ(s[0].formatted.size(), 0x1AU);
  EXPECT_EQ(s[1].offset, first.size());
  EXPECT_TRUE(s[1].strings.empty());
  EXPECT_EQ(s[2].type, kEndOfTableType);

  // 2.x: the structure count ends a table that has no end-of-table structure.
  const Bytes counted = Join({first, kBios});
  EXPECT_EQ(WalkTable(counted, DecodeEntryPoint(EntryPoint2(counted.size(), 2))).size(), 2U);
}

// Each damage through the whole decoder, with what its detail must point at.
TEST(DecodeTables, EachCorruptionGivesItsCodeAndWhere) {
  const Bytes cpu = Record(4, 0x0040, 0x1A).U8(4, 1).Strings({"CPU1"});
  const auto v3 = [](const Bytes& table) { return SmbiosTables{EntryPoint3(table.size()), table}; };
  const auto v2 = [](const Bytes& table, size_t count) {
    return SmbiosTables{EntryPoint2(table.size(), count), table};
  };
  const Bytes area = Record(17, 0x0011, 0x28);
  const Bytes unterminated = Join({cpu, Bytes(area.begin(), area.begin() + 0x28), {'A', 0}});
  const std::vector<std::tuple<const char*, SmbiosTables, uint16_t, std::string>> cases = {
      {"bad checksum",
       {With(EntryPoint3(64), 5, 0), Join({cpu, EndOfTable()})},
       Code::kSmbiosEntryPointMalformed,
       "checksum"},
      {"zero length", v3(Join({cpu, {4, 0, 0x11, 0, 0, 0}, EndOfTable()})),
       Code::kSmbiosTableMalformed,
       "structure 2 (type 4, handle 0x0011) at offset 0x20 has length 0"},
      {"length 3", v3(Join({{4, 3, 0x11, 0, 0, 0}, EndOfTable()})), Code::kSmbiosTableMalformed,
       "has length 3"},
      {"runs past", v3(Join({cpu, Bytes(area.begin(), area.begin() + 0x20)})),
       Code::kSmbiosTableMalformed,
       "structure 2 (type 17, handle 0x0011) at offset 0x20 runs past the table end 0x40"},
      {"header cut", v3(Join({cpu, {17, 0x28}})), Code::kSmbiosTableMalformed,
       "structure 2 at offset 0x20: its header runs past"},
      {"unterminated strings", v3(unterminated), Code::kSmbiosTableMalformed,
       "string set at 0x48 is not terminated"},
      {"formatted area only", v3(Join({cpu, Bytes(area.begin(), area.begin() + 0x28)})),
       Code::kSmbiosTableMalformed, "not terminated"},
      {"no end of table", v3(Join({cpu, kBios})), Code::kSmbiosTableMalformed,
       "after 2 structures without an end-of-table"},
      {"2.x count beyond", v2(Join({cpu, kBios}), 3), Code::kSmbiosTableMalformed,
       "after 2 structures"},
      {"2.x table short",
       {EntryPoint2(0x100, 0), Join({cpu, EndOfTable()})},
       Code::kSmbiosTableMalformed,
       "the table holds 38 bytes; the entry point gives 256"},
      {"empty table", v3({}), Code::kSmbiosTableMalformed, "after 0 structures"},
      {"string index",
       v3(Join({Record(4, 0x0040, 0x1A).U8(0x10, 2).Strings({"CPU1"}), EndOfTable()})),
       Code::kSmbiosBadStringIndex, "handle 0x0040) at offset 0x0 names string 2 at 0x10"},
  };
  for (const auto& [name, tables, code, detail] : cases) {
    ExpectStatus([&] { DecodeTables(tables); }, code, detail, name);
  }
}

}  // namespace
