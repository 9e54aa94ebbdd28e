// The BMC's processor sensors per family: which sockets are populated, and one socket's state.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <new>
#include <string>

#include "FakeSiblings.h"
#include "LogCapture.h"
#include "processor/CPUInternalFunc.h"

namespace {

using namespace Module::PlatformConfig;
using ProcessorTest::Bytes;
using ProcessorTest::FakeSensors;
using Strings = std::vector<std::string>;

constexpr const char* kKarvo = "KARVO_PLATFORM";
constexpr int kNone = 0xFF;

std::string Asked(int sensor, const char* leaf) {
  return "/BMC/SENSOR[" + std::to_string(sensor) + "]/" + leaf;
}

// Each family's processor sensors (sockets 1-4) and second (throttling) sensors: discovery asks
// the processor sensors in socket order, a socket's status reads its processor sensor, then
// its own second sensor; a sensor outside the row has no status.
TEST(ProcessorSensors, EachFamilyWatchesItsSocketsThroughItsOwnSensors) {
  const struct {
    const char* family;
    int processor[4];
    int second[4];
  } rows[] = {
      {kKarvo, {0x90, 0x91, 0x92, 0x93}, {0xC0, 0xC1, 0xC2, 0xC3}},
      {"KARVO2_PLATFORM", {0x90, 0x91, 0x92, 0x93}, {0xC0, 0xC1, 0xC2, 0xC3}},
      {"KARVO3_PLATFORM", {0x90, 0x91, 0x92, 0x93}, {0xC0, 0xC1, 0xC2, 0xC3}},
      {"TESKAR_PLATFORM", {0x90, 0x91, 0x92, 0x93}, {0xB0, 0xB1, 0xB2, 0xB3}},
      {"PIRLOW_PLATFORM", {0x90, 0x91, kNone, kNone}, {0xC0, 0xC1, kNone, kNone}},
      {"ZORVEL_PLATFORM", {0x60, 0x61, kNone, kNone}, {0x62, 0x63, kNone, kNone}},
      // Spelled as identification names them, these two families have no sensors here.
      {"KARVO_PLATFORM2", {kNone, kNone, kNone, kNone}, {kNone, kNone, kNone, kNone}},
      {"KARVO_PLATFORM3", {kNone, kNone, kNone, kNone}, {kNone, kNone, kNone, kNone}},
      {"OTHER_PLATFORM", {kNone, kNone, kNone, kNone}, {kNone, kNone, kNone, kNone}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.family);
    FakeSensors bmc;
    for (int sensor = 0; sensor < 0xFF; ++sensor) {
      bmc.events[sensor] = {0x00};  // decides nothing: present, no state reported
      bmc.readings[sensor] = {0x00};
    }
    uint32_t count = 77;
    uint8_t handles[64] = {};
    ASSERT_EQ(DiscoverProcessorSensors(&count, handles, row.family), kOk);
    Strings discovery;
    std::vector<int> found;
    for (int sensor : row.processor) {
      if (sensor == kNone) continue;
      discovery.push_back(Asked(sensor, "PROCEVENT"));
      discovery.push_back(Asked(sensor, "VALUE"));
      found.push_back(sensor);
    }
    EXPECT_EQ(bmc.asked, discovery);
    EXPECT_EQ(count, found.empty() ? 77u : found.size());  // none found: left as it was
    EXPECT_EQ(std::vector<int>(handles, handles + found.size()), found);

    for (int s = 0; s < 4; ++s) {
      if (row.processor[s] == kNone) continue;
      bmc.asked.clear();
      PhysicalProcessorStatus status{};
      EXPECT_EQ(ReadCPUSensorStatus(static_cast<uint32_t>(row.processor[s]), &status, row.family),
                kOk);
      EXPECT_EQ(bmc.asked,
                (Strings{Asked(row.processor[s], "PROCEVENT"), Asked(row.second[s], "PROCEVENT")}));
    }
    // Other families' sensors are none of this one's.
    for (int sensor : {0x93, 0x61, 0x0F, 0x10}) {
      if (std::count(std::begin(row.processor), std::end(row.processor), sensor) != 0) continue;
      PhysicalProcessorStatus status{};
      EXPECT_EQ(ReadCPUSensorStatus(static_cast<uint32_t>(sensor), &status, row.family),
                kMissingArgument)
          << sensor;
    }
  }
}

TEST(ProcessorSensors, OneSocketFamiliesArePresentWithoutAsking) {
  FakeSensors bmc;
  for (auto [family, sensor] :
       {std::pair<const char*, int>{"ROPHIN_PLATFORM", 0x0F}, {"DUVANE_PLATFORM", 0x10}}) {
    uint32_t count = 0;
    uint8_t handles[64] = {};
    EXPECT_EQ(DiscoverProcessorSensors(&count, handles, family), kOk);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(handles[0], sensor);
  }
  EXPECT_TRUE(bmc.asked.empty());
  uint8_t handles[64];
  EXPECT_EQ(DiscoverProcessorSensors(nullptr, handles, kKarvo), kMissingArgument);
}

TEST(ProcessorSensors, PresenceIsDecidedOnlyByFlagsThatSayTheStatesAreValid) {
  FakeSensors bmc;
  // 0x90: scanning only (0x40), so the event status decides nothing; its reading says absent.
  // 0x91: neither answer has valid flags: counts as present. 0x92: present by its reading.
  // 0x93: the event status bytes end early; the missing state byte reads as 0 (absent).
  bmc.events = {{0x90, {0x40, 0x00}}, {0x91, {0x00}}, {0x92, {0xC0, 0x80}}, {0x93, {0xC0}}};
  bmc.readings = {{0x90, {0x00, 0xC0, 0x00}}, {0x91, {0x00}}, {0x92, {0x00, 0xC0, 0x80}}};
  uint32_t count = 0;
  uint8_t handles[64] = {};
  EXPECT_EQ(DiscoverProcessorSensors(&count, handles, kKarvo), kOk);
  ASSERT_EQ(count, 2u);
  EXPECT_EQ(handles[0], 0x91);
  EXPECT_EQ(handles[1], 0x92);
  // Reported empty by its event status, a socket's reading is not asked for.
  EXPECT_EQ(std::count(bmc.asked.begin(), bmc.asked.end(), Asked(0x93, "VALUE")), 0);

  // An unanswered or failing query ends discovery.
  bmc.events.erase(0x92);
  EXPECT_EQ(DiscoverProcessorSensors(&count, handles, kKarvo), kBmcQueryFailed);
  bmc.events[0x92] = {0xC0, 0x80};
  bmc.failing = {0x93};
  EXPECT_EQ(DiscoverProcessorSensors(&count, handles, kKarvo), kBmcQueryFailed);
}

struct StatusCase {
  const char* name;
  const char* family;
  uint32_t sensor;
  uint32_t code;
  // ThermalTrip, IERR, FRB1, FRB2, FRB3, ConfigError, ProcessorThrottled; '-' not reported.
  std::string states;
  std::map<int, Bytes> events, readings;
  size_t reads;  // BMC queries made
};

TEST(ProcessorSensors, StatusTakesOnlyTheStatesTheSensorsReport) {
  const StatusCase cases[] = {
      {"every state reported; throttled by state 0",
       kKarvo,
       0x90,
       kOk,
       "0110101",
       {{0x90, {0xC0, 0xBF}}, {0xC0, {0xC0, 0xC1, 0x01}}},
       {{0x90, {0x00, 0xFF, 0x95}}},
       4},
      {"IERR and thermal trip reported; throttling by state 2",
       kKarvo,
       0x91,
       kOk,
       "10----0",
       {{0x91, {0xC0, 0x82}}, {0xC1, {0xC0, 0xC4, 0x00}}},
       {{0x91, {0x00, 0xC3, 0x82}}},
       4},
      {"throttling by state 3 when neither 0 nor 2 is reported",
       kKarvo,
       0x91,
       kOk,
       "------1",
       {{0x91, {0x40}}, {0xC1, {0xC0, 0xC0, 0x0A}}},
       {},
       3},
      {"scanning only: nothing reported",
       kKarvo,
       0x90,
       kOk,
       "-------",
       {{0x90, {0x40, 0xBF}}, {0xC0, {0x40, 0xFF}}},
       {},
       2},
      // The processor sensor's gates: its event status must report a state (bits 0-5), its
      // reading must have both flag bits 7 and 6.
      {"events and scanning on, but no state in the event status",
       kKarvo,
       0x90,
       kOk,
       "-------",
       {{0x90, {0xC0, 0xC0}}, {0xC0, {0x00}}},
       {{0x90, {0x00, 0xFF, 0x3F}}},
       2},
      {"a reading without flag bit 7",
       kKarvo,
       0x90,
       kOk,
       "-------",
       {{0x90, {0xC0, 0x3F}}, {0xC0, {0x00}}},
       {{0x90, {0x00, 0x7F, 0x3F}}},
       3},
      {"a reading without flag bit 6",
       kKarvo,
       0x90,
       kOk,
       "-------",
       {{0x90, {0xC0, 0x3F}}, {0xC0, {0x00}}},
       {{0x90, {0x00, 0xBF, 0x3F}}},
       3},
      // The throttling sensor's gate: states 0, 2 or 7 reported, or state 9; one-socket
      // families read on without it.
      {"the throttling sensor's gate",
       kKarvo,
       0x90,
       kOk,
       "-------",
       {{0x90, {0x00}}, {0xC0, {0xC0, 0x48, 0x00}}},
       {},
       2},
      {"state 9 opens it",
       kKarvo,
       0x90,
       kOk,
       "-------",
       {{0x90, {0x00}}, {0xC0, {0xC0, 0x40, 0x02}}},
       {},
       3},
      {"one-socket family: past the gate, throttling from byte 0",
       "ROPHIN_PLATFORM",
       0x0F,
       kOk,
       "------0",
       {{0x0F, {0x00}}, {0x10, {0xC0, 0x48, 0x00}}},
       {},
       3},
      {"the other one-socket family: past the gate, the general rule",
       "DUVANE_PLATFORM",
       0x10,
       kOk,
       "-------",
       {{0x10, {0x00}}, {0x11, {0xC0, 0x48, 0x00}}},
       {},
       3},
      {"and throttled by it",
       "DUVANE_PLATFORM",
       0x10,
       kOk,
       "------1",
       {{0x10, {0x00}}, {0x11, {0xC0, 0xC1, 0x01}}},
       {},
       3},
      {"no sensor number", kKarvo, 0xFF, kMissingArgument, "", {}, {}, 0},
      {"not in the family's row", "PIRLOW_PLATFORM", 0x92, kMissingArgument, "", {}, {}, 0},
      {"a family without sensors", "OTHER_PLATFORM", 0x90, kMissingArgument, "", {}, {}, 0},
      {"the controller does not answer", kKarvo, 0x90, kBmcQueryFailed, "", {}, {}, 1},
      {"the throttling sensor does not answer",
       kKarvo,
       0x90,
       kBmcQueryFailed,
       "",
       {{0x90, {0x00}}},
       {},
       2},
  };
  for (const StatusCase& c : cases) {
    SCOPED_TRACE(c.name);
    FakeSensors bmc;
    bmc.events = c.events;
    bmc.readings = c.readings;
    PhysicalProcessorStatus s{};
    ASSERT_EQ(ReadCPUSensorStatus(c.sensor, &s, c.family), c.code);
    EXPECT_EQ(bmc.asked.size(), c.reads);
    if (c.code != kOk) continue;
    EXPECT_EQ(std::make_tuple(s.SensorOwnerID, s.SensorOwnerLUN, s.SensorNumber),
              std::make_tuple(0x20u, 0u, c.sensor));
    std::string got;
    for (uint32_t v :
         {s.ThermalTrip, s.IERR, s.FRB1, s.FRB2, s.FRB3, s.ConfigError, s.ProcessorThrottled}) {
      got += v == ~0u ? '-' : static_cast<char>('0' + v);
    }
    EXPECT_EQ(got, c.states);
  }
  EXPECT_EQ(ReadCPUSensorStatus(0x90, nullptr, kKarvo), kMissingArgument);
}

// Memory running out while the answers are read is error 1006, thrown.
TEST(ProcessorSensors, NoMemoryForTheSensorBytesIsError1006) {
  FakeSensors bmc;
  bmc.events = {{0x90, {0x00}}, {0xC0, {0x00}}};
  bmc.onQuery = [](int sensor) {
    if (sensor == 0xC0) throw std::bad_alloc();
  };
  TestSupport::LogCapture log;
  PhysicalProcessorStatus s{};
  try {
    ReadCPUSensorStatus(0x90, &s, kKarvo);
    ADD_FAILURE() << "no ResultStatus thrown";
  } catch (const ResultStatus& status) {
    EXPECT_EQ(status.GetCode(), 1006);
  }
  EXPECT_EQ(
      log.Errors(),
      (std::vector<TestSupport::LoggedError>{
          {".\\CPUInternalFunc", "Module::PlatformConfig::ReadCPUSensorStatus", 2043, 1006}}));
}

}  // namespace
