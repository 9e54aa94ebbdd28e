// "/Platform/MemoryTopology" built from scripted SMBIOS answers on identified boards: slot
// numbering, every SMBIOS value in its node, sensor addressing per family, totals, and the
// answers that stop the build.
#include <gtest/gtest.h>

#include "FakeSiblings.h"
#include "LogCapture.h"
#include "PlatformConfigMgr.h"
#include "SimulatedServer.h"

namespace {

using namespace Module::PlatformConfig;
using namespace MemoryTest;
using Strings = std::vector<std::string>;

// Identified from its firmware variable: KARVO_PLATFORM, DIMM sensors e0-e7 then ff. Boards of
// other families are identified in processes of their own (fresh_test.cpp).
constexpr const char* kKarvoBoard = "board-table-hit";

TEST(MemoryInventory, TwoArraysOfFourFillEightSlotsInOrder) {
  PlatformTest::SimulatedServer server(kKarvoBoard);
  std::vector<Array> arrays = {{Devices("A", 4)}, {Devices("B", 4)}};
  arrays[0].devices[2].size = "0";        // empty socket: a record, no size
  arrays[1].devices[3].size = "Unknown";  // counts nothing either
  FakeSmbios smbios("2", arrays);
  const ResultMap r = Topology();

  EXPECT_EQ(Value(r, "/Platform/MemoryTopology/NumberOfElements"), "8");
  EXPECT_EQ(Value(r, "/Platform/MemoryTopology/TotalMemorySize"), std::to_string(6 * 8192));
  // Each slot's SMBIOS leaves, their order and the slot sensors are held to dmidecode and the
  // BMC by the integration checks; the sensor addresses and owners only here.
  EXPECT_EQ(Value(r, Slot(5, "MemorySlotName")), "B1");  // the second array's second device
  EXPECT_EQ(Value(r, Slot(5, "MemoryErrorCorrectionType")), "Multi-bit ECC 2");
  EXPECT_EQ(Value(r, Slot(2, "MemorySize")), "0");
  EXPECT_EQ(Value(r, Slot(5, "SensorNumber")), "41");
  EXPECT_EQ(Value(r, Slot(5, "SlotSensorNumber")), "e5");
  EXPECT_EQ(Value(r, Slot(7, "SlotSensorNumber")), "e7");
  EXPECT_EQ(Value(r, Slot(0, "SensorNumber")), "0");
  EXPECT_EQ(Value(r, Slot(0, "SlotSensorOwnerID")), "22");
  EXPECT_EQ(Value(r, Slot(0, "SensorOwnerID")), "33");
  EXPECT_EQ(Value(r, Slot(0, "SensorOwnerLUN")), "0");
}

TEST(MemoryInventory, SlotsFollowEachArraysOwnCountAndFillersCoverTheRest) {
  PlatformTest::SimulatedServer server(kKarvoBoard);
  {
    // Array 2 numbers its slots 3..5 from its own count of 3: slot 2 is never written.
    FakeSmbios smbios("2", {{Devices("A", 2)}, {Devices("B", 3)}});
    const ResultMap r = Topology();
    EXPECT_EQ(Value(r, "/Platform/MemoryTopology/NumberOfElements"), "5");
    EXPECT_EQ(r.count("/Platform/MemoryTopology/MemoryInfo[2]"), 0u);
    EXPECT_EQ(Value(r, Slot(3, "MemorySlotName")), "B0");
    EXPECT_EQ(Value(r, Slot(3, "SlotSensorNumber")), "e3");
    EXPECT_EQ(Value(r, Slot(5, "SensorNumber")), "42");
  }
  {
    // 2 x 24 slots outgrow the 32-entry table: the rest get the upper-case filler.
    FakeSmbios smbios("2", {{Devices("A", 24)}, {Devices("B", 24)}});
    const ResultMap r = Topology();
    EXPECT_EQ(Value(r, "/Platform/MemoryTopology/NumberOfElements"), "48");
    EXPECT_EQ(Value(r, Slot(8, "SlotSensorNumber")), "ff");
    EXPECT_EQ(Value(r, Slot(31, "SlotSensorNumber")), "ff");
    EXPECT_EQ(Value(r, Slot(32, "SlotSensorNumber")), "FF");
    EXPECT_EQ(Value(r, Slot(47, "SensorNumber")), "57");
  }
  {
    // A later array larger than the first reaches past the filled table: filler, no overrun.
    FakeSmbios smbios("2", {{Devices("A", 1)}, {Devices("B", 40)}});
    const ResultMap r = Topology();
    EXPECT_EQ(Value(r, Slot(79, "SlotSensorNumber")), "FF");
    EXPECT_EQ(Value(r, Slot(40, "SlotSensorNumber")), "FF");
    EXPECT_EQ(Value(r, Slot(0, "SlotSensorNumber")), "e0");
  }
}

// The build stopped by an SMBIOS answer: its error and the root's list (none: not checked).
void ExpectStopped(const char* name, const std::string& arrayCount, std::vector<Array> arrays,
                   int code, int line, const Strings& root = {}) {
  SCOPED_TRACE(name);
  FakeSmbios smbios(arrayCount, arrays);
  TestSupport::LogCapture log;
  const ResultMap r = Topology();
  EXPECT_EQ(Value(r, "/Platform/MemoryTopology/NumberOfElements"), "<absent>");
  if (!root.empty()) {
    EXPECT_EQ(r.at("/Platform/MemoryTopology").list, root);
  }
  EXPECT_EQ(
      log.Errors(),
      (std::vector<TestSupport::LoggedError>{
          {".\\MemoryImpl", "Module::PlatformConfig::Memory::FillMemoryTopologyMap", line, code}}));
}

TEST(MemoryInventory, AnswersThatStopTheBuildAreReportedAndKeepWhatWasWritten) {
  PlatformTest::SimulatedServer server(kKarvoBoard);
  ExpectStopped("no array count", "", {}, 1038, 74, {"ERROR_GET_MEMORY_ARRAY_NO"});
  ExpectStopped("negative array count", "-1", {}, 1038, 114, {"ERROR_GET_MEMORY_ARRAY_NO"});
  // The first array's slots stay when the second one has no device count.
  const std::vector<Array> second = {{Devices("A", 2)}, {Devices("B", 2), false}};
  ExpectStopped("second array without a device count", "2", second, 1039, 125);
  {
    FakeSmbios smbios("2", second);
    EXPECT_EQ(Value(Topology(), Slot(1, "MemorySlotName")), "A1");
  }

  // Counts past what the table accounts for stop the build before a slot is invented: the
  // totals carry the error key.
  ExpectStopped("array count past any machine", "4097", {}, 1038, 114,
                {"ERROR_GET_MEMORY_ARRAY_NO"});
  for (const long long claimed : {65535LL, 65LL}) {
    FakeSmbios smbios("2", {{Devices("A", 2)}, {Devices("B", 2), true, claimed}});
    TestSupport::LogCapture log;
    const ResultMap r = Topology();
    EXPECT_EQ(Value(r, "/Platform/MemoryTopology/NumberOfElements"), "ERROR_GET_MEMORY_DEVICE_NO");
    EXPECT_EQ(Value(r, "/Platform/MemoryTopology/TotalMemorySize"), "ERROR_GET_MEMORY_DEVICE_NO");
    EXPECT_EQ(r.count("/Platform/MemoryTopology/MemoryInfo[2]"), 0u) << claimed;
    EXPECT_EQ(Value(r, Slot(1, "MemorySlotName")), "A1");
    EXPECT_EQ(log.Errors().size(), 1u);
    EXPECT_EQ(log.Errors().at(0).line, 125);
  }
  {
    // A board may count empty slots its table does not list, up to a few dozen.
    FakeSmbios smbios("1", {{Devices("A", 2), true, 64}});
    EXPECT_EQ(Value(Topology(), "/Platform/MemoryTopology/NumberOfElements"), "64");
  }

  FakeSmbios none("0", {});
  TestSupport::LogCapture log;
  const ResultMap r = Topology();
  EXPECT_TRUE(log.Records().empty());
  EXPECT_EQ(Value(r, "/Platform/MemoryTopology/NumberOfElements"), "0");
  EXPECT_EQ(Value(r, "/Platform/MemoryTopology/TotalMemorySize"), "0");
}

TEST(MemoryInventory, ValuesNamingOtherSlotsAreAnsweredOnce) {
  // Each slot's locator and size name the next slot, so the answer reaches slot k by 2^k
  // roads: a search that walks every road never ends.
  PlatformTest::SimulatedServer server(kKarvoBoard);
  constexpr int kSlotCount = 40;
  const auto slot = [](int n) {
    return "/Platform/MemoryTopology/MemoryInfo[" + std::to_string(n) + "]";
  };
  std::vector<Device> devices;
  for (int d = 0; d < kSlotCount; ++d) devices.push_back({slot(d + 1), slot(d + 1)});
  FakeSmbios smbios("1", {{devices}});
  const ResultMap r = Topology(slot(0));
  EXPECT_EQ(Value(r, Slot(0, "MemorySlotName")), slot(1));
  // Every slot down the chain is in the answer.
  EXPECT_EQ(r.count(Slot(kSlotCount - 1, "MemorySize")), 1u);
}

}  // namespace
