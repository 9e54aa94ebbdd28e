#include <gtest/gtest.h>

#include "Answers.h"
#include "Inventory.h"
#include "MemoryReadings.h"
#include "ProcessorReadings.h"
#include "Render.h"

namespace Exporter {
namespace {

using namespace Fixture;

const std::string kSlot0 = SlotPath(0);
const std::string kSlot1 = SlotPath(1);

TEST(ReadingsTest, ProcessorCountsAndTheStatesEachPackageReports) {
  EXPECT_EQ(Render(ProcessorSamples(Inventory())),
            (Lines{"platform_physical_processors 2", "platform_logical_processors 4",
                   "platform_processor_status_readable{package=1} 1",
                   "platform_processor_state{package=1,sensor=90,state=ThermalTrip} 1",
                   "platform_processor_state{package=1,sensor=90,state=IERR} 0",
                   "platform_processor_state{package=1,sensor=90,state=ProcessorThrottled} 0",
                   "platform_processor_status_readable{package=2} 0"}));
  EXPECT_EQ(LogicalProcessorCount(Inventory()), 4u);
  EXPECT_FALSE(LogicalProcessorCount(Inventory(2, "ERROR_GET_LOGICAL_PROCESSOR_NO")));
  EXPECT_EQ(Render(ProcessorSamples(Inventory(2, "ERROR_GET_LOGICAL_PROCESSOR_NO"))).size(), 6u);
  EXPECT_TRUE(ProcessorSamples(ResultMap()).empty());
}

TEST(ReadingsTest, SlotsOnceEachWithTheirSizesInBytes) {
  const ResultMap inventory = Inventory();
  const std::vector<Slot> slots = SlotsOf(inventory);
  ASSERT_EQ(slots.size(), 2u);
  EXPECT_EQ(slots[1].path, kSlot1);
  EXPECT_EQ(std::make_tuple(slots[1].index, slots[1].name, slots[1].bank, slots[1].sensor),
            std::make_tuple("1", "DIMM_1", "NODE 0", "e1"));
  EXPECT_EQ(Render(MemorySizeSamples(inventory, slots)),
            (Lines{"platform_memory_slot_size_bytes{index=0,slot=DIMM_0,bank=NODE 0} 34359738368",
                   "platform_memory_installed_bytes 34359738368"}));
  EXPECT_EQ(DimmStateQuery(slots[0]), kSlot0 + "/MemoryState");
}

TEST(ReadingsTest, DimmStateBitsInHexOrNotReadable) {
  const Slot slot{kSlot0, "0", "A1", "NODE 0", "e0"};
  const std::string labels = "{index=0,slot=A1,bank=NODE 0,sensor=e0}";
  const std::pair<const char*, Lines> cases[] = {
      {"9",
       {"platform_dimm_state_readable" + labels + " 1", "platform_dimm_state" + labels + " 9"}},
      {"f",
       {"platform_dimm_state_readable" + labels + " 1", "platform_dimm_state" + labels + " 15"}},
      {"ERROR_GET_MEMORY_DIMM_STATE", {"platform_dimm_state_readable" + labels + " 0"}},
      {"", {"platform_dimm_state_readable" + labels + " 0"}},
      {"1g", {"platform_dimm_state_readable" + labels + " 0"}}};
  for (const auto& [value, expected] : cases) {
    EXPECT_EQ(Render(DimmStateSamples(slot, {{DimmStateQuery(slot), Leaf(value)}})), expected)
        << value;
  }
  EXPECT_EQ(Render(DimmStateSamples(slot, ResultMap())),
            Lines{"platform_dimm_state_readable" + labels + " 0"})
      << "not asked";
}

TEST(ReadingsTest, ErrorCountsAndUsageOrNothing) {
  const std::string errors = kMem + "/Errors";
  ResultMap counts{{errors + "/CorErrorCount", Leaf("3")},
                   {errors + "/UnCorErrorCount", Leaf("0")}};
  EXPECT_EQ(Render(MemoryErrorSamples(counts)),
            (Lines{"platform_memory_corrected_errors 3", "platform_memory_uncorrected_errors 0"}));
  for (auto& entry : counts) entry.second = Leaf("ERROR_GET_MEMORY_ECC_ERROR_COUNT");
  EXPECT_TRUE(MemoryErrorSamples(counts).empty());

  EXPECT_EQ(UsageRatio({{UsageQuery(3), Leaf("12.500000")}}, 3), 0.125);
  EXPECT_EQ(UsageQuery(3), kProc + "/LogicalProcessor[3]");
  EXPECT_FALSE(UsageRatio({{UsageQuery(3), Leaf("ERROR_GET_LOGICAL_PROCESSOR_USAGE")}}, 3));
  EXPECT_FALSE(UsageRatio({{UsageQuery(3), Leaf("12.5")}}, 2)) << "another processor's answer";
}

TEST(AnswersTest, NumbersAsTheModuleWritesThem) {
  EXPECT_EQ(WholeNumber("32768"), 32768);
  EXPECT_EQ(WholeNumber("-1"), -1);
  EXPECT_EQ(DecimalNumber("12.500000"), 12.5);
  EXPECT_EQ(DecimalNumber("7"), 7.0);
  EXPECT_EQ(HexNumber("e0"), 0xe0u);
  for (const char* bad :
       {"", "-", "Unknown", "ERROR_GET_X", " 1", "1 ", "1.5", "0x10", "9999999999999999999"}) {
    EXPECT_FALSE(WholeNumber(bad)) << bad;
  }
  for (const char* bad : {"", ".", "1.", "1.x", "nan", "inf", "1e3"}) {
    EXPECT_FALSE(DecimalNumber(bad)) << bad;
  }
  for (const char* bad : {"", "g", "-1", "123456789", "ff "}) EXPECT_FALSE(HexNumber(bad)) << bad;
  EXPECT_EQ(LastIndex("/A[2]/B[12]"), "12");
  EXPECT_EQ(LastIndex("/A/B"), "");
}

}  // namespace
}  // namespace Exporter
