// From bytes to the answer tree: its shape and the encodings easy to get wrong, and every kind
// of damage. The integration tests compare every path with an independent decoder.

#include <gtest/gtest.h>

#include <sstream>

#include "ErrorCodes.h"
#include "SmbiosBuilder.h"
#include "smbios_answers.h"
#include "smbios_entry_point.h"

// Kind and list make a node; the attributes are not part of the answer.
bool operator==(const _XNode& a, const _XNode& b) {
  return a.kind == b.kind && a.list == b.list;
}

namespace {

using namespace SmbiosTest;
using namespace Module::BIOSConfig;
namespace Code = ErrorCode;

// Entry points and tables of which nothing can be read, decoded as the module decodes an
// image. The images are exactly as long as the damage leaves them, so that the sanitizers
// catch a read past them.
TEST(DecodeTables, WhatCannotBeReadGivesItsCodeAndSaysWhere) {
  const Bytes cpu = Record(4, 0x0040, 0x1A, {{4, 1}}, {"CPU1"});  // 0x20 bytes
  const Bytes good = Join({cpu, kEndOfTable});
  const Bytes ep2 = EntryPoint2(0x100, 3), ep3 = EntryPoint3(0x100);
  const auto with = [](Bytes bytes, size_t at, int value) { return Put(bytes, at, value); };
  const auto v3 = [](const Bytes& table) { return Image(EntryPoint3(table.size()), table); };
  const uint16_t ep = Code::kSmbiosEntryPointMalformed, table = Code::kSmbiosTableMalformed;
  // clang-format off
  const std::vector<std::tuple<const char*, Bytes, uint16_t, std::string>> cases = {
      {"empty", {}, ep, "anchor"},
      {"anchor only", {'_', 'S', 'M', '_'}, ep, "length byte"},
      {"unknown anchor", Seal2(with(ep2, 1, 'X')), ep, "anchor"},
      {"2.x checksum", with(ep2, 4, ep2[4] + 1), ep, "checksum"},
      {"2.x intermediate anchor", Seal2(with(ep2, 0x11, 'X')), ep, "_DMI_"},
      {"2.x intermediate checksum", Seal(with(ep2, 0x16, 0x55), 4, 0, 0x1F), ep, "intermediate"},
      {"2.x length too long", Seal2(with(ep2, 5, 0x40)), ep, "length 0x40 at 0x5 is past 0x20"},
      {"2.x cut short", Bytes(ep2.begin(), ep2.end() - 1), ep, "only 30 bytes"},
      {"3.x checksum", with(ep3, 0x0C, 1), ep, "checksum"},
      {"3.x cut short", Bytes(ep3.begin(), ep3.begin() + 0x10), ep, "only 16 bytes are there"},
      {"3.x length byte short", Seal(with(Bytes(ep3.begin(), ep3.begin() + 0x10), 6, 0x10), 5, 0,
                                     0x10), ep, "fields need 24 bytes but only 16"},
      {"legacy checksum", with(Legacy(0x100, 1), 6, 0x55), ep, "checksum"},
      // Past 4 GiB, so that an address cut to 32 bits would land on the table.
      {"3.x address past the image", Image(EntryPoint3(0x100, 1ULL << 32 | 0x20), good), table,
       "address 0x100000020 lies past the image end"},
      {"3.x address 2^64-1", Image(EntryPoint3(0x100, ~0ULL), good), table, "lies past"},
      {"empty table", v3({}), table, "the table of 0 bytes holds no structure"},
      {"a header's worth short", v3({4, 0x1A, 0x40}), table, "of 3 bytes holds no structure"},
      {"first structure broken", v3(Join({{4, 0, 0x11, 0, 0, 0}, kEndOfTable})), table,
       "structure 1 (type 4, handle 0x0011) at offset 0x0 has length 0"}};
  // clang-format on
  for (const auto& [name, image, code, detail] : cases) {
    ExpectStatus(code, detail, name, [&] { DecodeTables(SplitImage(image)); });
  }
}

// A broken structure ends the table where it starts: those before it are answered and the
// damage says what and where; nothing is thrown. Lengths and counts that merely end the
// table early are no damage.
TEST(DecodeTables, ABrokenStructureEndsTheTableAndTheOnesBeforeItAreKept) {
  const Bytes cpu = Record(4, 0x0040, 0x1A, {{4, 1}}, {"CPU1"});  // 0x20 bytes
  const Bytes bios = Record(0, 0, 0x18, {{4, 1}}, {"Acme"});
  const Bytes dimm = Record(17, 0x0011, 0x28), area(dimm.begin(), dimm.begin() + 0x28);
  const auto v3 = [](const Bytes& table) { return Image(EntryPoint3(table.size()), table); };
  const auto v2 = [](const Bytes& t, size_t n) { return Image(EntryPoint2(t.size(), n), t); };
  // clang-format off
  const std::vector<std::tuple<const char*, Bytes, size_t, std::string>> cases = {
      {"zero length", v3(Join({cpu, {4, 0, 0x11, 0, 0, 0}, cpu})), 1,
       "structure 2 (type 4, handle 0x0011) at offset 0x20 has length 0, shorter than its"},
      {"length 3", v3(Join({cpu, {4, 3, 0x11, 0, 0, 0}, kEndOfTable})), 1, "has length 3"},
      {"runs past the table", v3(Join({cpu, Bytes(area.begin(), area.begin() + 0x20)})), 1,
       "structure 2 (type 17, handle 0x0011) at offset 0x20 runs past the table end 0x40"},
      {"unterminated", v3(Join({cpu, cpu, area, {'A', 0}})), 2,
       "structure 3 (type 17, handle 0x0011) at offset 0x40: its string set at 0x68 is not"},
      {"formatted area only", v3(Join({cpu, area})), 1, "is not terminated by a double NUL"},
      {"no end of table", v3(Join({cpu, bios})), 1, ""},
      {"a header's worth left over", v3(Join({cpu, {4, 0x1A, 0x40}})), 1, ""},
      {"2.x count beyond", v2(Join({cpu, bios}), 3), 1, ""},
      {"2.x count short", v2(Join({cpu, cpu, kEndOfTable}), 1), 1, ""},
      // The entry point gives a longer table than the image holds: read what is there.
      {"2.x image cut", Image(EntryPoint2(0x100, 0), Join({cpu, cpu})), 2, ""}};
  // clang-format on
  for (const auto& [name, image, processors, damage] : cases) {
    const DecodedTables decoded = DecodeTables(SplitImage(image));
    EXPECT_EQ(decoded.tree.at("/SMBIOS/Type4").list.size(), processors) << name;
    EXPECT_EQ(decoded.tree.count("/SMBIOS/Type4[1]/SocketDesignation"), 1U) << name;
    if (damage.empty()) {
      EXPECT_EQ(decoded.damage, "") << name;
    } else {
      EXPECT_NE(decoded.damage.find(damage), std::string::npos) << name << ": " << decoded.damage;
    }
  }
}

// Where the table ends: a 3.x table at its end-of-table structure or at its maximum size; a
// 2.x one only at its length or count, so structures firmware put after the end-of-table
// structure count there. The legacy entry point carries its version in BCD.
TEST(DecodeTables, EndOfTableEndsOnlyVersion3TablesAndLegacyEntryPointsAreRead) {
  const Bytes cpu = Record(4, 0x40, 0x1A, {{4, 1}}, {"CPU1"});
  const Bytes table = Join({cpu, kEndOfTable, cpu});
  const auto processors = [](const SmbiosTables& tables) {
    return DecodeTables(tables).tree.at("/SMBIOS/Type4").list.size();
  };
  EXPECT_EQ(processors({EntryPoint3(table.size()), table}), 1U);
  EXPECT_EQ(processors({EntryPoint2(table.size(), 3), table}), 2U);
  EXPECT_EQ(processors({EntryPoint2(table.size(), 0), table}), 2U);
  EXPECT_EQ(processors(SplitImage(Image(Legacy(table.size(), 3), table))), 2U);
  EXPECT_EQ(DecodeEntryPoint(Legacy(table.size(), 3)).Version(), 0x0200);
  // A short length byte is taken as it comes (early firmware wrote 0x1E): the checksum covers
  // what it counts, and the fields are read all the same.
  const Bytes shortLength = Seal(Put(Seal2(EntryPoint2(table.size(), 3)), 5, 0x1E), 4, 0, 0x1E);
  EXPECT_EQ(processors(SplitImage(Image(shortLength, table))), 2U);
}

// Values a damaged or sloppy structure still gives: a string index past its set reads as
// other readers print it, bytes other than printable ASCII as '.', and a structure cut inside a
// group of fields that a version added lacks the whole group.
TEST(DecodeTables, BadStringsAndCutLayoutsReadAsOtherReadersReadThem) {
  // clang-format off
  const Bytes table = Join({
      Record(4, 0x40, 0x22, {{4, 1}, {0x10, 3}, {0x18, 0x41}, {0x20, 2}}, {"CPU\x01\xE9", "S\x7F 1 "}),
      Record(4, 0x41, 0x23, {{4, 1}, {0x20, 1}, {0x22, 9}}, {"CPU2"}),
      Record(16, 0x1000, 0x0E, {{5, 3}}),
      Record(16, 0x1001, 0x0F, {{5, 3}, {6, 6}, {7, 0x80000000, 4}, {0x0D, 2, 2}}),
      Record(17, 0x1100, 0x14, {{4, 0x1001, 2}}),
      Record(17, 0x1101, 0x16, {{4, 0x1001, 2}, {0x0C, 1024, 2}, {0x15, 2400, 2}}),
      Record(17, 0x1102, 0x1A, {{4, 0x1001, 2}, {0x0C, 0x8400, 2}, {0x15, 2400, 2}, {0x17, 1}},
             {"Maker"}),
      Record(17, 0x1103, 0x20, {{4, 0x1001, 2}, {0x0C, 0x7FFF, 2}, {0x1C, 65536, 4}}),
      Record(17, 0x1104, 0x28, {{4, 0x0BAD, 2}}),
      kEndOfTable});
  // clang-format on
  const ResultMap tree = DecodeTables({EntryPoint3(table.size()), table}).tree;
  const std::string p = "/SMBIOS/Type4[", d = "/SMBIOS/MemoryArray[1]/MemoryDevice[";
  const std::vector<std::pair<std::string, std::string>> values = {
      {p + "1]/SocketDesignation", "CPU.."},
      {p + "1]/ProcessorVersion", "<BAD INDEX>"},
      {p + "1]/Status", "Populated: Yes, Enabled"},
      {p + "1]/SerialNumber", "Unknown"},  // 0x22 is inside the group that ends at 0x23
      {p + "2]/SerialNumber", "CPU2"},
      {p + "2]/PartNumber", "<BAD INDEX>"},
      {p + "2]/CoreCount", "Unknown"},
      // The first array is cut inside its first layout: it has no use, so it is left out.
      {"/SMBIOS/MemoryArray/TotalNoOfArray", "1"},
      {"/SMBIOS/MemoryArray[1]/MaximumCapacity", "Unknown"},  // no room for the extended one
      {"/SMBIOS/MemoryArray[1]/NumMemoryDevices", "2"},
      // The device shorter than its first layout names no array; so does the one at 0x0BAD.
      {d + "1]/Handle", "0x1101"},
      {d + "1]/Size", "1024"},
      {d + "1]/Speed", "Unknown"},
      {d + "2]/Size", "1"},
      {d + "2]/Speed", "2400"},
      {d + "2]/Manufacturer", "Unknown"},
      {d + "3]/Size", "65536"},
      {d + "3]/ConfiguredSpeed", "Unknown"}};
  for (const auto& [path, value] : values) {
    ASSERT_EQ(tree.count(path), 1U) << path;
    EXPECT_EQ(tree.at(path).list, Texts{value}) << path;
  }
  EXPECT_EQ(tree.at("/SMBIOS/MemoryArray[1]").list.size(), 5U + 3U);
}

// A server board: three processors (current, one with Family 2 and Count 2 fields, one of
// SMBIOS 2.0's size), arrays for system and video memory with their devices interleaved, and
// sizes and speeds in each of their encodings. No end-of-table structure: callers add one.
// clang-format off
Bytes ServerBody() {
  return Join({
      Record(0, 0, 0x18, {{4, 1}, {5, 2}, {8, 3}}, {"Acme Firmware \t ", "2.14.1", "03/15/2023"}),
      Record(4, 0x40, 0x30, {{5, 3}, {6, 0xB3}, {0x18, 0x41}, {0x23, 28}, {0x28, 0xB3, 2}}),
      Record(4, 0x41, 0x30, {{5, 3}, {6, 0xFE}, {0x23, 0xFF}, {0x25, 0xFF}, {0x28, 0x6B, 2},
                             {0x2A, 128, 2}, {0x2E, 256, 2}}),
      Record(4, 0x42, 0x1A, {{5, 4}, {6, 0x99}, {0x18, 0x45}}),
      Record(16, 0x1000, 0x17, {{4, 3}, {5, 3}, {6, 6}, {7, 0x80000000, 4}, {0x0D, 4, 2},
                                {0x0F, 1ULL << 42, 8}}),
      Record(16, 0x1001, 0x17, {{4, 3}, {5, 4}, {6, 3}, {7, 1 << 20, 4}, {0x0D, 1, 2}}),  // video
      Record(16, 0x1002, 0x0F, {{4, 0xA3}, {5, 3}, {6, 3}, {7, 2097152, 4}, {0x0D, 2, 2}}),
      Record(17, 0x1100, 0x28, {{4, 0x1000, 2}, {0x0C, 16384, 2}, {0x13, 1 << 7 | 1 << 13, 2}}),
      Record(17, 0x1101, 0x5C, {{4, 0x1000, 2}, {8, 0xFFFF, 2}, {0x0C, 0x7FFF, 2},
                                {0x13, 1 << 7 | 1 << 14, 2}, {0x15, 0xFFFF, 2},
                                {0x1C, 0x80010000, 4}, {0x20, 0xFFFF, 2}, {0x54, 8800, 4}}),
      Record(17, 0x1102, 0x28, {{4, 0x1001, 2}, {0x0C, 512, 2}}),  // in the video array
      Record(17, 0x1104, 0x22, {{4, 0x1002, 2}, {0x0C, 0x8800, 2}, {0x20, 2400, 2}}),
      Record(17, 0x1103, 0x15, {{4, 0x1000, 2}}),
      // Cut between the two extended speeds, so it has neither.
      Record(17, 0x1105, 0x58, {{4, 0x1002, 2}, {0x0C, 0xFFFF, 2}, {0x15, 0xFFFF, 2},
                                {0x54, 4800, 4}}),
      Record(17, 0x1106, 0x1C, {{4, 0x1000, 2}, {0x0C, 0x7FFF, 2}})});
}
// clang-format on

// The steps under path, from a space-separated list.
Texts Under(const std::string& path, const std::string& steps) {
  Texts paths;
  std::istringstream in(steps);
  for (std::string step; in >> step;) paths.push_back(path + "/" + step);
  return paths;
}

TEST(DecodeTables, ShapeAndEncodingsOfAServerTable) {
  const Bytes body = ServerBody();
  // 3.x: ends at its end-of-table structure, short of its maximum size, before bytes that
  // would not walk. 2.x: ends by its count of 14 structures.
  const Bytes table3 = Join({body, kEndOfTable, {0xFF, 0xFF}});
  const ResultMap tree =
      DecodeTables(SplitImage(Image(EntryPoint3(table3.size() + 64), table3))).tree;
  EXPECT_EQ(tree, DecodeTables({EntryPoint2(body.size(), 14), body}).tree);

  const std::string cpus = "/SMBIOS/Type4", arrays = "/SMBIOS/MemoryArray";
  const std::string a1 = arrays + "[1]", a2 = arrays + "[2]", d1 = a1 + "/MemoryDevice[1]";
  // clang-format off
  const std::string arrayLeaves = "Location Use MemoryErrorCorrection MaximumCapacity "
                                  "NumMemoryDevices MemoryDevice[1] MemoryDevice[2]";
  const std::vector<std::pair<std::string, Texts>> elements = {
      {"/BIOS", Under("/BIOS", "Vendor Version ReleaseDate")},
      {"/SMBIOS", {cpus, arrays}},
      {cpus, Under("/SMBIOS", "Type4[1] Type4[2] Type4[3]")},
      {cpus + "[1]", Under(cpus + "[1]", "SocketDesignation ProcessorType ProcessorFamily "
           "ProcessorManufacturer ProcessorVersion ClockFrequency MaxSpeed CurrentSpeed Status "
           "SerialNumber PartNumber CoreCount CoreEnabled ThreadCount")},
      // The video memory array is left out and the numbering stays dense.
      {arrays, Under("/SMBIOS", "MemoryArray[1] MemoryArray[2] MemoryArray/TotalNoOfArray")},
      {a1, Under(a1, arrayLeaves + " MemoryDevice[3] MemoryDevice[4]")},
      {a2, Under(a2, arrayLeaves)},
      {d1, Under(d1, "MemoryArrayHandle Handle TotalWidth DataWidth Size FormFactor DeviceLocator "
           "BankLocator MemoryType TypeDetail Speed ConfiguredSpeed Manufacturer SerialNumber "
           "PartNumber")},
      {d1 + "/TypeDetail", Under(d1 + "/TypeDetail", "Synchronous Registered")},
      {a1 + "/MemoryDevice[3]/TypeDetail", {}}};
  const std::string d = "MemoryArray[1]/MemoryDevice[", e = "MemoryArray[2]/MemoryDevice[";
  // Values, under /SMBIOS unless absolute.
  const std::vector<std::pair<std::string, std::string>> values = {
      {"/BIOS/Vendor", "Acme Firmware ."}, {"Type4[1]/ProcessorFamily", "Xeon"},
      {"Type4[1]/Status", "Populated: Yes, Enabled"}, {"Type4[1]/CoreCount", "28"},
      {"Type4[2]/ProcessorFamily", "Zen"}, {"Type4[2]/CoreCount", "128"},
      {"Type4[2]/ThreadCount", "256"}, {"Type4[2]/CurrentSpeed", "Unknown"},
      {"Type4[2]/ProcessorVersion", ""}, {"Type4[2]/Status", "Populated: No, Unknown"},
      {"Type4[3]/Status", "Populated: Yes, Unknown"}, {"Type4[3]/CoreCount", "Unknown"},
      {"MemoryArray/TotalNoOfArray", "2"}, {"MemoryArray[1]/MaximumCapacity", "4194304"},
      {"MemoryArray[2]/MaximumCapacity", "2048"}, {d + "1]/Size", "16384"},
      {d + "1]/TypeDetail/Registered", "Yes"}, {d + "2]/TotalWidth", "Unknown"},
      {d + "2]/DataWidth", "Unknown"}, {d + "2]/Size", "65536"}, {d + "2]/Speed", "8800"},
      {d + "2]/ConfiguredSpeed", "Unknown"}, {d + "3]/Handle", "0x1103"}, {d + "3]/Size", "0"},
      {d + "4]/Size", "32767"}, {e + "1]/MemoryArrayHandle", "0x1002"}, {e + "1]/Size", "2"},
      {e + "1]/Handle", "0x1104"}, {e + "1]/Speed", "Unknown"}, {e + "2]/Size", "Unknown"},
      {e + "2]/Speed", "Unknown"}};
  // clang-format on
  const auto expect = [&tree](const std::string& path, uint32_t kind, const Texts& list) {
    ASSERT_EQ(tree.count(path), 1U) << path;
    EXPECT_EQ(tree.at(path).kind, kind) << path;
    EXPECT_EQ(tree.at(path).list, list) << path;
  };
  for (const auto& [path, children] : elements) expect(path, XNODE_ELEMENT, children);
  for (const auto& [step, value] : values) {
    expect((step[0] == '/' ? "" : "/SMBIOS/") + step, XNODE_VALUE, {value});
  }
  // Nothing more: /BIOS and its leaves, the three roots, three processors, TotalNoOfArray,
  // two arrays, six devices with their type detail, and four type-detail bits.
  EXPECT_EQ(tree.size(), 4 + 3 + 3 * 15 + 1 + 2 * 6 + 6 * 16 + 4U);
}

TEST(DecodeTables, WithoutBiosProcessorsOrSystemMemoryTheRootsStay) {
  const Bytes table = Join({Record(16, 0x1001, 0x17, {{5, 4}}), kEndOfTable});
  const ResultMap tree = DecodeTables({EntryPoint3(0x100), table}).tree;
  EXPECT_EQ(tree.size(), 4U);  // /SMBIOS, its two elements and TotalNoOfArray
  EXPECT_EQ(tree.at("/SMBIOS/Type4").list, Texts{});
  EXPECT_EQ(tree.at("/SMBIOS/MemoryArray/TotalNoOfArray").list, Texts{"0"});
}

TEST(DecodeTables, ArraysSharingAHandleListItsDevicesOnce) {
  // 64 system-memory arrays and 64 devices, all naming handle 0x0005: listed under every array,
  // the devices would make 4,096 device elements from 2.5 KB (a 64 KB table: 10 million).
  Bytes table;
  for (int i = 0; i < 64; ++i) table = Join({table, Record(16, 0x0005, 0x0F, {{5, 3}})});
  for (int i = 0; i < 64; ++i) table = Join({table, Record(17, 0x0009, 0x15, {{4, 0x0005, 2}})});
  const ResultMap tree = DecodeTables({EntryPoint3(0x1000), Join({table, kEndOfTable})}).tree;
  EXPECT_EQ(tree.at("/SMBIOS/MemoryArray[1]").list.size(), 5 + 64U);
  EXPECT_EQ(tree.at("/SMBIOS/MemoryArray[1]/MemoryDevice[64]/MemoryArrayHandle").list,
            Texts{"0x0005"});
  EXPECT_EQ(tree.at("/SMBIOS/MemoryArray[2]").list.size(), 5U);
  // The roots and TotalNoOfArray, 64 arrays with five leaves, 64 devices with fourteen leaves
  // and an empty TypeDetail.
  EXPECT_EQ(tree.size(), 4 + 64 * 6 + 64 * 16U);
}

// Family codes that need more than the table: Family 2, the maker, the SMBIOS version.
TEST(ProcessorFamily, Family2MakerAndVersionDecideAmbiguousCodes) {
  // Family, structure length, SMBIOS 2.minor, Family 2, maker, expected.
  // clang-format off
  using Case = std::tuple<uint8_t, uint8_t, uint8_t, uint16_t, const char*, const char*>;
  const std::vector<Case> cases = {
      {0xFE, 0x2A, 8, 0x118, "-", "ARM"}, {0xFE, 0x30, 8, 0x200, "-", "RV32"},
      {0xFE, 0x28, 8, 0x6B, "-", "Other"} /* no Family 2 */, {0x16, 0x30, 8, 0, "-", "Other"},
      {0xBE, 0x30, 8, 0, "Intel(R) Corporation", "Core 2"}, {0xBE, 0x30, 8, 0, "intel", "Core 2"},
      {0xBE, 0x30, 8, 0, "Advanced Micro Devices, AMD", "K7"}, {0x30, 0x1A, 0, 0, "Acme", "Alpha"},
      {0xBE, 0x30, 8, 0, "Acme", "Core 2 or K7"}, {0x30, 0x1A, 1, 0, "GenuineIntel", "Alpha"},
      {0x30, 0x1A, 0, 0, "GenuineIntel", "Pentium Pro"}};
  // clang-format on
  for (const auto& [family, length, minor, family2, maker, expected] : cases) {
    const Bytes table = Join(
        {Record(4, 0x40, length, {{6, family}, {7, 1}, {0x28, family2, 2}}, {maker}), kEndOfTable});
    const ResultMap tree = DecodeTables({EntryPoint2(table.size(), 0, minor), table}).tree;
    EXPECT_EQ(tree.at("/SMBIOS/Type4[1]/ProcessorFamily").list, Texts{expected})
        << maker << " " << int{family} << " " << family2;
  }
}

}  // namespace
