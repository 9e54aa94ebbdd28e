// The memory component's pure decoders: a DIMM sensor reply into a slot state, event-log
// records into error counts, a slot into its sensor address.
#include <gtest/gtest.h>

#include "FakeSiblings.h"
#include "memory/DimmState.h"
#include "memory/MemoryErrorCount.h"
#include "memory/SlotBound.h"
#include "memory/SlotSensor.h"

namespace {

using namespace Module::PlatformConfig;
using MemoryTest::SelRecord;

TEST(DimmState, DecodesTheFourBitsUnlessTheReadingIsToBeIgnored) {
  const struct {
    const char* reply;
    uint8_t state;
  } cases[] = {
      {"0 0 4 0", 0x01},         {"0 0 0 2", 0x02}, {"0 0 0 1", 0x04},
      {"0 0 1 0", 0x08},         {"0 0 5 3", 0x0F}, {"0 c0 45 3", 0x0F},
      {"0 1 5 3", 0x00},         {"0 0 0 0", 0x00}, {"", 0x00},
      {"0 0 5", 0x09},           {"0 0", 0x00},     {"0", 0x00},
      {"  0   0  4   0 ", 0x01},  // runs of blanks give no empty bytes
      {"0 0 0 0 5 3", 0x00},      // bytes past the fourth are not read
      {"zz 0 fb0 3", 0x06},       // a byte is the low 8 bits of what parses
  };
  for (const auto& c : cases) EXPECT_EQ(DecodeDimmState(c.reply), c.state) << '"' << c.reply << '"';
}

TEST(MemoryErrorCount, CountsSinceTheLastBootRecordInLogOrder) {
  const std::string corrected = SelRecord(0x0C, 0x40), uncorrected = SelRecord(0x0C, 0x41),
                    boot = SelRecord(0x12, 0x01);
  const struct {
    std::vector<std::string> records;
    int corrected, uncorrected;
  } cases[] = {
      {{}, 0, 0},
      {{corrected, corrected, uncorrected}, 2, 1},
      {{corrected, uncorrected, boot, uncorrected}, 0, 1},
      {{corrected, uncorrected, boot}, 0, 0},
      // Other memory offsets, other sensor types, the boot event's other offsets.
      {{SelRecord(0x0C, 0xA0), SelRecord(0x0C, 0x00), SelRecord(0x07, 0x40), SelRecord(0x12, 0x05),
        SelRecord(0x1D, 0x01)},
       0,
       0},
      // Tokens compare as text: "0c" is not "c".
      {{std::string(corrected).replace(corrected.find(" c "), 3, " 0c ")}, 0, 0},
      // A record too short to hold event data 1, or empty, counts nothing.
      {{corrected.substr(0, corrected.rfind(" 40 ")), "", corrected}, 1, 0},
  };
  for (const auto& c : cases) {
    const MemoryErrorCounts counts = CountMemoryErrors(c.records);
    EXPECT_EQ(counts.corrected, c.corrected) << ::testing::PrintToString(c.records);
    EXPECT_EQ(counts.uncorrected, c.uncorrected) << ::testing::PrintToString(c.records);
  }
}

TEST(SlotSensor, BoardsAreNamedInTheLocatorAndAddressWrapsPerGroup) {
  EXPECT_EQ(BoardIndexFromLocator("Board A DIMM 1"), 0);
  EXPECT_EQ(BoardIndexFromLocator("DIMM on Board C"), 2);
  // The first board name in A..D order wins, wherever it stands.
  EXPECT_EQ(BoardIndexFromLocator("Board D next to Board B"), 1);
  for (const char* none : {"", "board a", "BoardA", "DIMM_A1"})
    EXPECT_EQ(BoardIndexFromLocator(none), 3) << none;

  const struct {
    int group, devices, device;
    long long index;
    int sensor;
  } cases[] = {
      {1, 4, 1, 5, 0x41},    {2, 3, 2, 8, 0x82}, {0, 8, 7, 7, 0x07},
      {5, 2, 1, 11, 0x41},  // groups past the fourth wrap in the number, not in the index
      {0, 70, 66, 66, 0x02},
  };
  for (const auto& c : cases) {
    const SlotSensorAddress a = AddressSlotSensor(c.group, c.devices, c.device);
    EXPECT_EQ(a.tableIndex, c.index) << c.group << "/" << c.device;
    EXPECT_EQ(a.sensorNumber, c.sensor) << c.group << "/" << c.device;
  }
}

// A device count is trusted as far as the table accounts for it: up to the devices it lists
// (or a board's worth of unlisted empty slots), and never past a machine's worth in all.
TEST(SlotBound, DeviceCountsAreTrustedAsFarAsTheTableAccountsForThem) {
  const struct {
    long long count, listed, before;
    bool usable;
  } cases[] = {{8, 6, 0, true},       {64, 0, 0, true},       {65, 0, 0, false},
               {65535, 0, 0, false},  {200, 200, 0, true},    {201, 200, 0, false},
               {4096, 5000, 0, true}, {2, 5000, 4095, false}, {1, 5000, 4095, true}};
  for (const auto& c : cases) {
    EXPECT_EQ(DeviceCountUsable(c.count, c.listed, c.before), c.usable)
        << c.count << " claimed, " << c.listed << " listed, " << c.before << " before";
  }
  // As the C library reads a count, but held within bounds instead of overflowing.
  const std::pair<const char*, long long> counts[] = {
      {"16", 16},
      {"  -3", -3},
      {"+7x", 7},
      {"", 0},
      {"Unknown", 0},
      {"99999999999999999999999", kMaxParsedCount},
      {"-99999999999999999999999", -kMaxParsedCount}};
  for (const auto& [text, value] : counts) EXPECT_EQ(LeadingCount(text), value) << text;
}

}  // namespace
