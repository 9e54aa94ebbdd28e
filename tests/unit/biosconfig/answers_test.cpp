// The answer tree of well-formed tables: every path and value, with the expected values
// worked out from the structures' fields as the SMBIOS reference defines them.

#include <gtest/gtest.h>

#include <algorithm>

#include "SmbiosBuilder.h"
#include "smbios_answers.h"
#include "smbios_names.h"

namespace {

using namespace SmbiosTest;
using namespace Module::BIOSConfig;
using Texts = std::vector<std::string>;

// One element and its leaves, in the order the element lists them.
struct Expected {
  std::string path;
  Texts leaves;
  Texts values;
};

const Texts kCpuLeaves = {"SocketDesignation",
                          "ProcessorType",
                          "ProcessorFamily",
                          "ProcessorManufacturer",
                          "ProcessorVersion",
                          "ClockFrequency",
                          "MaxSpeed",
                          "CurrentSpeed",
                          "Status",
                          "SerialNumber",
                          "PartNumber",
                          "CoreCount",
                          "CoreEnabled",
                          "ThreadCount"};
const Texts kArrayLeaves = {"Location", "Use", "MemoryErrorCorrection", "MaximumCapacity",
                            "NumMemoryDevices"};
// TypeDetail, an element, sits between MemoryType and Speed.
const Texts kDeviceLeaves = {
    "MemoryArrayHandle", "Handle",        "TotalWidth",   "DataWidth",  "Size",
    "FormFactor",        "DeviceLocator", "BankLocator",  "MemoryType", "Speed",
    "ConfiguredSpeed",   "Manufacturer",  "SerialNumber", "PartNumber"};

// A server board: three processors (current, Family 2 and Count 2 fields, an SMBIOS 2.0
// one), arrays for system and video memory, devices interleaved in table order.
// clang-format off: one structure per record, its fields in offset order
Bytes ServerTable() {
  return Join({
      Record(0, 0x0000, 0x18)
          .U8(4, 1)
          .U8(5, 2)
          .U8(8, 3)
          .Strings({"Acme Firmware \t ", "2.14.1", "03/15/2023"}),
      Record(4, 0x0040, 0x30)
          .U8(4, 1)
          .U8(5, 3)
          .U8(6, 0xB3)
          .U8(7, 2)
          .U8(0x10, 3)
          .U16(0x12, 100)
          .U16(0x14, 4000)
          .U16(0x16, 2400)
          .U8(0x18, 0x41)
          .U8(0x20, 4)
          .U8(0x22, 5)
          .U8(0x23, 28)
          .U8(0x24, 26)
          .U8(0x25, 56)
          .U16(0x28, 0xB3)
          .Strings({"CPU1", "Intel(R) Corporation", "Intel(R) Xeon(R) Gold 6330 CPU @ 2.00GHz",
                    "SN-1", "PN-1  "}),
      Record(4, 0x0041, 0x30)
          .U8(4, 1)
          .U8(5, 3)
          .U8(6, 0xFE)
          .U8(7, 2)
          .U8(0x23, 0xFF)
          .U8(0x24, 0xFF)
          .U8(0x25, 0xFF)
          .U16(0x28, 0x6B)
          .U16(0x2A, 128)
          .U16(0x2C, 120)
          .U16(0x2E, 256)
          .Strings({"CPU2", "AMD"}),
      Record(4, 0x0042, 0x1A).U8(4, 1).U8(5, 4).U8(6, 0x99).U8(0x18, 0x43).Strings({"FPU"}),
      Record(16, 0x1000, 0x17)
          .U8(4, 3)
          .U8(5, 3)
          .U8(6, 6)
          .U32(7, 0x80000000)
          .U16(0x0D, 4)
          .U64(0x0F, uint64_t{4} << 40),
      Record(16, 0x1001, 0x17).U8(4, 3).U8(5, 4).U8(6, 3).U32(7, 1 << 20).U16(0x0D, 1),
      Record(16, 0x1002, 0x0F).U8(4, 0xA3).U8(5, 3).U8(6, 3).U32(7, 2097152).U16(0x0D, 2),
      Record(17, 0x1100, 0x28)
          .U16(4, 0x1000)
          .U16(8, 72)
          .U16(0x0A, 64)
          .U16(0x0C, 16384)
          .U8(0x0E, 9)
          .U8(0x10, 1)
          .U8(0x11, 2)
          .U8(0x12, 0x1A)
          .U16(0x13, 1 << 7 | 1 << 13)
          .U16(0x15, 3200)
          .U8(0x17, 3)
          .U8(0x18, 4)
          .U8(0x1A, 5)
          .U16(0x20, 2933)
          .Strings({"DIMM_A1", "P0_CH0", "Samsung", "12345678", "M393A2K40DB3-CWE   "}),
      Record(17, 0x1101, 0x5C)
          .U16(4, 0x1000)
          .U16(8, 0xFFFF)
          .U16(0x0A, 0)
          .U16(0x0C, 0x7FFF)
          .U8(0x0E, 0x0D)
          .U8(0x10, 1)
          .U8(0x12, 0x22)
          .U16(0x13, 1 << 7 | 1 << 14)
          .U16(0x15, 0xFFFF)
          .U32(0x1C, 0x80010000)
          .U16(0x20, 0xFFFF)
          .U32(0x54, 8800)
          .U32(0x58, 0)
          .Strings({"DIMM_A2"}),
      Record(17, 0x1102, 0x28).U16(4, 0x1001).U16(0x0C, 512),  // video memory
      Record(17, 0x1104, 0x22).U16(4, 0x1002).U16(0x0C, 0x8800).U16(0x15, 0).U16(0x20, 2400),
      Record(17, 0x1103, 0x15).U16(4, 0x1000).U8(0x0E, 2).U8(0x12, 2),
      // Cut between the two extended speeds, so it has neither.
      Record(17, 0x1105, 0x58).U16(4, 0x1002).U16(0x0C, 0xFFFF).U16(0x15, 0xFFFF).U32(0x54, 4800),
      Record(17, 0x1106, 0x1C).U16(4, 0x1000).U16(0x0C, 0x7FFF),
      EndOfTable(),
  });
}
// clang-format on

const std::vector<Expected> kServer = {
    {"/BIOS", {"Vendor", "Version", "ReleaseDate"}, {"Acme Firmware", "2.14.1", "03/15/2023"}},
    {"/SMBIOS/Type4[1]",
     kCpuLeaves,
     {"CPU1", "Central Processor", "Xeon", "Intel(R) Corporation",
      "Intel(R) Xeon(R) Gold 6330 CPU @ 2.00GHz", "100", "4000", "2400", "Populated: Yes, Enabled",
      "SN-1", "PN-1", "28", "26", "56"}},
    {"/SMBIOS/Type4[2]",
     kCpuLeaves,
     {"CPU2", "Central Processor", "Zen", "AMD", "", "Unknown", "Unknown", "Unknown",
      "Populated: No, Unknown", "", "", "128", "120", "256"}},
    {"/SMBIOS/Type4[3]",
     kCpuLeaves,
     {"FPU", "Math Processor", "Other", "", "", "Unknown", "Unknown", "Unknown",
      "Populated: Yes, Disabled By BIOS", "Unknown", "Unknown", "Unknown", "Unknown", "Unknown"}},
    {"/SMBIOS/MemoryArray[1]",
     kArrayLeaves,
     {"System Board Or Motherboard", "System Memory", "Multi-bit ECC", "4194304", "4"}},
    {"/SMBIOS/MemoryArray[2]",
     kArrayLeaves,
     {"PC-98/Local Bus Add-on Card", "System Memory", "None", "2048", "2"}},
    {"/SMBIOS/MemoryArray[1]/MemoryDevice[1]",
     kDeviceLeaves,
     {"0x1000", "0x1100", "72", "64", "16384", "DIMM", "DIMM_A1", "P0_CH0", "DDR4", "3200", "2933",
      "Samsung", "12345678", "M393A2K40DB3-CWE"}},
    {"/SMBIOS/MemoryArray[1]/MemoryDevice[2]",
     kDeviceLeaves,
     {"0x1000", "0x1101", "Unknown", "Unknown", "65536", "SODIMM", "DIMM_A2", "", "DDR5", "8800",
      "Unknown", "", "", ""}},
    {"/SMBIOS/MemoryArray[1]/MemoryDevice[3]",
     kDeviceLeaves,
     {"0x1000", "0x1103", "Unknown", "Unknown", "0", "Unknown", "", "", "Unknown", "Unknown",
      "Unknown", "Unknown", "Unknown", "Unknown"}},
    {"/SMBIOS/MemoryArray[1]/MemoryDevice[4]",
     kDeviceLeaves,
     {"0x1000", "0x1106", "Unknown", "Unknown", "32767", "Unknown", "", "", "Unknown", "Unknown",
      "Unknown", "", "", ""}},
    {"/SMBIOS/MemoryArray[2]/MemoryDevice[1]",
     kDeviceLeaves,
     {"0x1002", "0x1104", "Unknown", "Unknown", "2", "Unknown", "", "", "Unknown", "Unknown",
      "2400", "", "", ""}},
    {"/SMBIOS/MemoryArray[2]/MemoryDevice[2]",
     kDeviceLeaves,
     {"0x1002", "0x1105", "Unknown", "Unknown", "Unknown", "Unknown", "", "", "Unknown", "Unknown",
      "Unknown", "", "", ""}},
};

// Every element with its child list: the expected leaves, plus the elements that list more.
void ExpectElement(const ResultMap& tree, const std::string& path, const Texts& children) {
  const auto node = tree.find(path);
  ASSERT_NE(node, tree.end()) << path;
  EXPECT_EQ(node->second.kind, XNODE_ELEMENT) << path;
  EXPECT_EQ(node->second.list, children) << path;
}

Texts Under(const std::string& path, const Texts& steps) {
  Texts paths;
  for (const std::string& step : steps) paths.push_back(path + "/" + step);
  return paths;
}

void ExpectServerTree(const ResultMap& tree) {
  size_t nodes = 0;
  for (const auto& [path, leaves, values] : kServer) {
    ASSERT_EQ(leaves.size(), values.size()) << path;
    for (size_t i = 0; i < leaves.size(); ++i) {
      const auto leaf = tree.find(path + "/" + leaves[i]);
      ASSERT_NE(leaf, tree.end()) << path << "/" << leaves[i];
      EXPECT_EQ(leaf->second.kind, XNODE_VALUE);
      EXPECT_EQ(leaf->second.list, Texts{values[i]}) << path << "/" << leaves[i];
    }
    nodes += 1 + leaves.size();
  }
  const std::string arrays = "/SMBIOS/MemoryArray";
  const std::string a1 = arrays + "[1]", a2 = arrays + "[2]";
  ExpectElement(tree, "/BIOS", Under("/BIOS", kServer[0].leaves));
  ExpectElement(tree, "/SMBIOS", {"/SMBIOS/Type4", arrays});
  ExpectElement(tree, "/SMBIOS/Type4",
                {"/SMBIOS/Type4[1]", "/SMBIOS/Type4[2]", "/SMBIOS/Type4[3]"});
  ExpectElement(tree, arrays, {a1, a2, arrays + "/TotalNoOfArray"});
  EXPECT_EQ(tree.at(arrays + "/TotalNoOfArray").list, Texts{"2"});
  Texts a1Children = Under(a1, kArrayLeaves);
  for (const char* d : {"[1]", "[2]", "[3]", "[4]"}) a1Children.push_back(a1 + "/MemoryDevice" + d);
  ExpectElement(tree, a1, a1Children);
  Texts device = Under(a1 + "/MemoryDevice[1]", kDeviceLeaves);
  device.insert(device.begin() + 9, a1 + "/MemoryDevice[1]/TypeDetail");
  ExpectElement(tree, a1 + "/MemoryDevice[1]", device);
  // Type detail leaves: one per set bit, each "Yes"; none at all when no bit is set.
  for (const auto& [path, bits] : std::vector<std::pair<std::string, Texts>>{
           {a1 + "/MemoryDevice[1]/TypeDetail", {"Synchronous", "Registered"}},
           {a1 + "/MemoryDevice[2]/TypeDetail", {"Synchronous", "Unbuffered"}},
           {a1 + "/MemoryDevice[3]/TypeDetail", {}},
           {a1 + "/MemoryDevice[4]/TypeDetail", {}},
           {a2 + "/MemoryDevice[1]/TypeDetail", {}},
           {a2 + "/MemoryDevice[2]/TypeDetail", {}}}) {
    ExpectElement(tree, path, Under(path, bits));
    for (const std::string& bit : bits) EXPECT_EQ(tree.at(path + "/" + bit).list, Texts{"Yes"});
    nodes += 1 + bits.size();
  }
  nodes += 4;  // /SMBIOS, /SMBIOS/Type4, /SMBIOS/MemoryArray and TotalNoOfArray
  EXPECT_EQ(tree.size(), nodes) << "paths beyond the expected ones";
}

TEST(DecodeTables, EveryPathOfAServerTableFromEitherEntryPoint) {
  const Bytes table = ServerTable();
  const ResultMap v3 = DecodeTables({EntryPoint3(table.size() + 100), table});
  ExpectServerTree(v3);
  const ResultMap v2 = DecodeTables({EntryPoint2(table.size(), 0), table});
  EXPECT_TRUE(std::equal(v2.begin(), v2.end(), v3.begin(), v3.end(), [](auto& a, auto& b) {
    return a.first == b.first && a.second.kind == b.second.kind && a.second.list == b.second.list;
  }));
}

TEST(DecodeTables, WithoutBiosOrProcessorsOrArraysTheRootsStay) {
  const Bytes table = Join({Record(16, 0x1001, 0x17).U8(5, 4), EndOfTable()});
  const ResultMap tree = DecodeTables({EntryPoint3(table.size()), table});
  EXPECT_EQ(tree.count("/BIOS"), 0U);
  ExpectElement(tree, "/SMBIOS/Type4", {});
  ExpectElement(tree, "/SMBIOS/MemoryArray", {"/SMBIOS/MemoryArray/TotalNoOfArray"});
  EXPECT_EQ(tree.at("/SMBIOS/MemoryArray/TotalNoOfArray").list, Texts{"0"});
}

// Family codes that need more than the table: Family 2, the maker, the SMBIOS version.
TEST(ProcessorFamily, Family2MakerAndVersionDecideAmbiguousCodes) {
  struct Case {
    uint8_t family;
    uint16_t family2;
    uint8_t length;
    const char* maker;
    uint8_t minor;  // SMBIOS 2.minor
    const char* expected;
  };
  for (const Case& c : std::vector<Case>{{0xB3, 0, 0x30, "Intel", 8, "Xeon"},
                                         {0xFE, 0x118, 0x2A, "-", 8, "ARM"},
                                         {0xFE, 0x200, 0x30, "-", 8, "RV32"},
                                         {0xFE, 0x6B, 0x28, "-", 8, "Other"},  // no Family 2
                                         {0x16, 0, 0x30, "-", 8, "Other"},
                                         {0xBE, 0, 0x30, "Intel(R) Corporation", 8, "Core 2"},
                                         {0xBE, 0, 0x30, "intel", 8, "Core 2"},
                                         {0xBE, 0, 0x30, "Advanced Micro Devices, AMD", 8, "K7"},
                                         {0xBE, 0, 0x30, "Acme", 8, "Core 2 or K7"},
                                         {0x30, 0, 0x1A, "GenuineIntel", 0, "Pentium Pro"},
                                         {0x30, 0, 0x1A, "GenuineIntel", 1, "Alpha"},
                                         {0x30, 0, 0x1A, "Acme", 0, "Alpha"}}) {
    const Bytes table = Join(
        {Record(4, 0x40, c.length).U8(6, c.family).U8(7, 1).U16(0x28, c.family2).Strings({c.maker}),
         EndOfTable()});
    const ResultMap tree = DecodeTables({EntryPoint2(table.size(), 0, 2, c.minor), table});
    EXPECT_EQ(tree.at("/SMBIOS/Type4[1]/ProcessorFamily").list, Texts{c.expected})
        << std::hex << int{c.family} << " " << c.family2 << " " << c.maker;
  }
}

TEST(ProcessorStatus, PopulatedBitAndCpuStatus) {
  for (const auto& [status, expected] : std::vector<std::pair<uint8_t, const char*>>{
           {0x41, "Populated: Yes, Enabled"},
           {0x42, "Populated: Yes, Disabled By User"},
           {0x44, "Populated: Yes, Idle"},
           {0xC7, "Populated: Yes, Other"},
           {0x45, "Populated: Yes, Unknown"},  // 5 and 6 are reserved
           {0x01, "Populated: No, Enabled"},
           {0xBF, "Populated: No, Other"}}) {
    const Bytes table = Join({Record(4, 0x40, 0x1A).U8(0x18, status), EndOfTable()});
    EXPECT_EQ(DecodeTables({EntryPoint3(table.size()), table}).at("/SMBIOS/Type4[1]/Status").list,
              Texts{expected});
  }
}

// The ends of each name table, where an off-by-one would show.
TEST(Names, EdgesOfEachCodeTable) {
  EXPECT_STREQ(ProcessorFamilyName(0x01), "Other");
  EXPECT_STREQ(ProcessorFamilyName(0xFB), "i960");
  EXPECT_STREQ(ProcessorFamilyName(0x100), "ARMv7");
  EXPECT_STREQ(ProcessorFamilyName(0x202), "RV128");
  for (int undefined : {0x00, 0x16, 0xFE, 0xFF, 0x203}) {
    EXPECT_EQ(ProcessorFamilyName(static_cast<uint16_t>(undefined)), nullptr) << undefined;
  }
  EXPECT_STREQ(ProcessorTypeName(6), "Video Processor");
  EXPECT_EQ(ProcessorTypeName(7), nullptr);
  EXPECT_STREQ(MemoryArrayLocationName(0x0A), "NuBus");
  EXPECT_EQ(MemoryArrayLocationName(0x0B), nullptr);
  EXPECT_STREQ(MemoryArrayLocationName(0xA0), "PC-98/C20 Add-on Card");
  EXPECT_STREQ(MemoryArrayLocationName(0xA4), "CXL Flexbus 1.0");
  EXPECT_EQ(MemoryArrayLocationName(0xA5), nullptr);
  EXPECT_STREQ(MemoryArrayUseName(7), "Cache Memory");
  EXPECT_STREQ(MemoryErrorCorrectionName(7), "CRC");
  EXPECT_EQ(MemoryErrorCorrectionName(0), nullptr);
  EXPECT_STREQ(MemoryFormFactorName(0x10), "Die");
  EXPECT_EQ(MemoryFormFactorName(0x11), nullptr);
  EXPECT_STREQ(MemoryTypeName(0x18), "DDR3");
  EXPECT_STREQ(MemoryTypeName(0x23), "LPDDR5");
  EXPECT_EQ(MemoryTypeName(0x24), nullptr);
  EXPECT_EQ(MemoryTypeDetailStep(0), nullptr);
  EXPECT_STREQ(MemoryTypeDetailStep(1), "Other");
  EXPECT_STREQ(MemoryTypeDetailStep(15), "LRDIMM");
  EXPECT_EQ(MemoryTypeDetailStep(16), nullptr);
}

}  // namespace
