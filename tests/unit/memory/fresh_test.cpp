// The family whose boards number slot sensors by the board a locator names, each case on a
// platform identified in its own process: from its board table row, and from the controller's
// product ID for a board the table does not know (whose sensor table then has no sensors).
#include <gtest/gtest.h>

#include "FakeSiblings.h"
#include "SimulatedServer.h"

namespace {

using namespace MemoryTest;

// Three arrays of three: their first devices name board C, board A and no board; a later
// device naming another board changes nothing.
void ExpectSlotsAddressedByLocatorBoard(const std::vector<std::string>& tableEntries) {
  std::vector<Array> arrays = {
      {Devices("Board C DIMM ", 3)}, {Devices("Board A DIMM ", 3)}, {Devices("Riser DIMM ", 3)}};
  arrays[1].devices[1].locator = "Board D DIMM 1";
  FakeSmbios smbios("3", arrays);
  const ResultMap r = Topology();
  // Slot 2: board C (2), device 2; slot 4: board A (0), device 1; slot 8: none named (3).
  EXPECT_EQ(Value(r, Slot(2, "SensorNumber")), "82");
  EXPECT_EQ(Value(r, Slot(4, "SensorNumber")), "1");
  EXPECT_EQ(Value(r, Slot(6, "SensorNumber")), "c0");
  EXPECT_EQ((std::vector<std::string>{Value(r, Slot(2, "SlotSensorNumber")),
                                      Value(r, Slot(4, "SlotSensorNumber")),
                                      Value(r, Slot(8, "SlotSensorNumber"))}),
            tableEntries);
}

TEST(MemoryInventoryByLocatorBoard, FamilyFromTheBoardTable) {
  PlatformTest::SimulatedServer server("blank-fru");
  ExpectSlotsAddressedByLocatorBoard({"c8", "c1", "cb"});  // table indexes 2x3+2, 0x3+1, 3x3+2
}

TEST(MemoryInventoryByLocatorBoard, FamilyFromTheProductIdOfAnUnknownBoard) {
  PlatformTest::SimulatedServer server("unknown-board",
                                       "device-id 20 81 05 02 02 bf 57 01 00 07 01 00 00 00 00\n");
  ExpectSlotsAddressedByLocatorBoard({"ff", "ff", "ff"});
}

}  // namespace
