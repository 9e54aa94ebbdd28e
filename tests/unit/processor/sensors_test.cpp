// The BMC's processor sensors per family: which sockets are populated, and one socket's state.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "FakeSiblings.h"
#include "processor/CPUInternalFunc.h"

namespace {

using namespace Module::PlatformConfig;
using ProcessorTest::Bytes;
using ProcessorTest::FakeSensors;

constexpr const char* kKarvo = "KARVO_PLATFORM";

TEST(ProcessorSensors, DiscoveryAsksOnlyTheSocketsTheFamilyHasSensorsFor) {
  FakeSensors bmc;
  uint32_t count = 7;
  uint8_t handles[64] = {};
  // No sensors at all: nothing asked, nothing found, the count left as it was.
  EXPECT_EQ(DiscoverProcessorSensors(&count, handles, "OTHER_PLATFORM"), kOk);
  EXPECT_EQ(count, 7u);
  EXPECT_EQ(DiscoverProcessorSensors(&count, handles, "KARVO_PLATFORM2"), kOk);
  EXPECT_TRUE(bmc.asked.empty());
  // One-socket families: present without asking.
  for (auto [family, sensor] :
       {std::pair<const char*, int>{"ROPHIN_PLATFORM", 0x0F}, {"DUVANE_PLATFORM", 0x10}}) {
    count = 0;
    EXPECT_EQ(DiscoverProcessorSensors(&count, handles, family), kOk);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(handles[0], sensor);
  }
  EXPECT_TRUE(bmc.asked.empty());

  // Two sockets: the first reported empty by its event status, the second present.
  bmc.events = {{0x60, {0xC0, 0x00}}, {0x61, {0xC0, 0x80}}};
  bmc.readings = {{0x61, {0x00, 0xC0, 0x80}}};
  EXPECT_EQ(DiscoverProcessorSensors(&count, handles, "ZORVEL_PLATFORM"), kOk);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(handles[0], 0x61);
  EXPECT_EQ(bmc.asked,
            (std::vector<std::string>{"/BMC/SENSOR[96]/PROCEVENT", "/BMC/SENSOR[97]/PROCEVENT",
                                      "/BMC/SENSOR[97]/VALUE"}));
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

  // An unanswered or failing query ends discovery.
  bmc.events.erase(0x92);
  EXPECT_EQ(DiscoverProcessorSensors(&count, handles, kKarvo), kBmcQueryFailed);
  bmc.events[0x92] = {0xC0, 0x80};
  bmc.failing = {0x93};
  EXPECT_EQ(DiscoverProcessorSensors(&count, handles, kKarvo), kBmcQueryFailed);
}

// One socket's status: states in the order ThermalTrip, IERR, FRB1, FRB2, FRB3, ConfigError,
// ProcessorThrottled, '-' where the sensors do not report it.
void ExpectStatus(const char* name, const char* family, uint32_t sensor, uint32_t code,
                  const std::string& states, std::map<int, Bytes> events,
                  std::map<int, Bytes> readings = {}) {
  SCOPED_TRACE(name);
  FakeSensors bmc;
  bmc.events = std::move(events);
  bmc.readings = std::move(readings);
  PhysicalProcessorStatus s{};
  ASSERT_EQ(ReadCPUSensorStatus(sensor, &s, family), code);
  if (code != kOk) return;
  EXPECT_EQ(s.SensorOwnerID, 0x20u);
  EXPECT_EQ(s.SensorOwnerLUN, 0u);
  EXPECT_EQ(s.SensorNumber, sensor);
  std::string got;
  for (uint32_t v :
       {s.ThermalTrip, s.IERR, s.FRB1, s.FRB2, s.FRB3, s.ConfigError, s.ProcessorThrottled}) {
    got += v == ~0u ? '-' : static_cast<char>('0' + v);
  }
  EXPECT_EQ(got, states);
}

TEST(ProcessorSensors, StatusTakesOnlyTheStatesTheSensorsReport) {
  ExpectStatus("every state reported, none asserted; throttled by state 0", kKarvo, 0x90, kOk,
               "0000001", {{0x90, {0xC0, 0xBF}}, {0xC0, {0xC0, 0xC1, 0x01}}},
               {{0x90, {0x00, 0xFF, 0x80}}});
  ExpectStatus("IERR and thermal trip reported; throttling by state 2", kKarvo, 0x91, kOk,
               "10----0", {{0x91, {0xC0, 0x82}}, {0xC1, {0xC0, 0xC4, 0x00}}},
               {{0x91, {0x00, 0xC3, 0x82}}});
  ExpectStatus("throttling by state 3 when neither 0 nor 2 is reported", kKarvo, 0x91, kOk,
               "------1", {{0x91, {0x40}}, {0xC1, {0xC0, 0xC0, 0x0A}}});
  ExpectStatus("scanning only: nothing reported", kKarvo, 0x90, kOk, "-------",
               {{0x90, {0x40, 0xBF}}, {0xC0, {0x40, 0xFF}}});
  ExpectStatus("the throttling sensor's gate: no state 0, 2 or 7 and no state 9", kKarvo, 0x90, kOk,
               "-------", {{0x90, {0x00}}, {0xC0, {0xC0, 0x48, 0x00}}});
  ExpectStatus("the one-socket family passes the gate and reads its throttling from byte 0",
               "ROPHIN_PLATFORM", 0x0F, kOk, "------0",
               {{0x0F, {0x00}}, {0x10, {0xC0, 0x48, 0x00}}});
  ExpectStatus("the other one-socket family takes the general rule", "DUVANE_PLATFORM", 0x10, kOk,
               "------1", {{0x10, {0x00}}, {0x11, {0xC0, 0xC1, 0x01}}});
  ExpectStatus("a family spelled as identification never names it", "KARVO3_PLATFORM", 0x92, kOk,
               "-------", {{0x92, {0x00}}, {0xC2, {0x00}}});
  ExpectStatus("no sensor number", kKarvo, 0xFF, kMissingArgument, "", {});
  ExpectStatus("not in the family's row", "PIRLOW_PLATFORM", 0x92, kMissingArgument, "", {});
  ExpectStatus("a family without sensors", "OTHER_PLATFORM", 0x90, kMissingArgument, "", {});
  ExpectStatus("the controller does not answer", kKarvo, 0x90, kBmcQueryFailed, "", {});
  ExpectStatus("the throttling sensor does not answer", kKarvo, 0x90, kBmcQueryFailed, "",
               {{0x90, {0x00}}});
  EXPECT_EQ(ReadCPUSensorStatus(0x90, nullptr, kKarvo), kMissingArgument);
}

}  // namespace
