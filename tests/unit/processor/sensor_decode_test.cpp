// The processor sensors' decoders on byte vectors: one row per state bit and per gate bit, and
// answers cut short.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "processor/ProcessorSensorDecode.h"

namespace {

using namespace Module::PlatformConfig;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t kUnset = ~0u;

PhysicalProcessorStatus Unreported() {
  return PhysicalProcessorStatus{kUnset, kUnset, kUnset, kUnset, kUnset,
                                 kUnset, kUnset, kUnset, kUnset, kUnset};
}

// ThermalTrip, IERR, FRB1, FRB2, FRB3, ConfigError, ProcessorThrottled; '-' not reported.
std::string States(const PhysicalProcessorStatus& s) {
  std::string text;
  for (uint32_t v :
       {s.ThermalTrip, s.IERR, s.FRB1, s.FRB2, s.FRB3, s.ConfigError, s.ProcessorThrottled}) {
    text += v == kUnset ? '-' : static_cast<char>('0' + v);
  }
  return text;
}

TEST(SensorDecode, AnswerBytesAreTheHexNumberAtEachStringsStart) {
  EXPECT_EQ(AnswerBytes({"c0", "85", " 7", "ff", "1ff", "x", ""}),
            (Bytes{0xC0, 0x85, 0x07, 0xFF, 0xFF, 0x00, 0x00}));
  EXPECT_EQ(TokenBytes("c0 85 2"), (Bytes{0xC0, 0x85, 0x02}));
  EXPECT_EQ(TokenBytes(""), Bytes{});
  EXPECT_EQ(AnswerBytes({}), Bytes{});
}

// Each reported state lands in its own field, and only when its flag bit is set; the reading's
// flags need events and scanning both.
TEST(SensorDecode, EachProcessorStateBitFillsItsOwnField) {
  const struct {
    Bytes reading;
    const char* states;
  } rows[] = {
      {{0x00, 0xC1, 0x01}, "-1-----"},  // state 0: IERR
      {{0x00, 0xC2, 0x02}, "1------"},  // state 1: thermal trip
      {{0x00, 0xC4, 0x04}, "--1----"},  // state 2: FRB1
      {{0x00, 0xC8, 0x08}, "---1---"},  // state 3: FRB2
      {{0x00, 0xD0, 0x10}, "----1--"},  // state 4: FRB3
      {{0x00, 0xE0, 0x20}, "-----1-"},  // state 5: configuration error
      {{0x00, 0xFF, 0x00}, "000000-"},  // every state reported clear
      {{0x00, 0xFF, 0x2A}, "100101-"},  // the state byte read bit by bit (1, 3 and 5 set)
      {{0x00, 0xC5, 0xFF}, "-11----"},  // unreported states stay unreported however set
      {{0x00, 0x7F, 0x3F}, "-------"},  // no events flag
      {{0x00, 0xBF, 0x3F}, "-------"},  // no scanning flag
      {{0x00, 0xC3}, "00-----"},        // the state byte missing reads as 0
      {{0x00}, "-------"},
      {{}, "-------"},
  };
  for (const auto& row : rows) {
    PhysicalProcessorStatus status = Unreported();
    DecodeProcessorStates(row.reading, status);
    EXPECT_EQ(States(status), row.states) << ::testing::PrintToString(row.reading);
  }
}

TEST(SensorDecode, GatesOpenOnlyOnTheirOwnBits) {
  const struct {
    Bytes events;
    bool states, throttling, throttlingSingleSocket;
  } rows[] = {
      {{0xC0, 0x01, 0x00}, true, true, true},     // state 0 opens both
      {{0xC0, 0x02, 0x00}, true, false, true},    // state 1: the processor's only
      {{0xC0, 0x04, 0x00}, true, true, true},     // state 2 opens both
      {{0xC0, 0x20, 0x00}, true, false, true},    // state 5: the processor's only
      {{0xC0, 0x40, 0x00}, false, false, true},   // state 6: neither
      {{0xC0, 0x80, 0x00}, false, true, true},    // state 7: throttling only
      {{0xC0, 0x00, 0x02}, false, true, true},    // state 9: throttling only
      {{0xC0, 0x00, 0x01}, false, false, true},   // state 8: neither
      {{0xC0, 0x00, 0xFD}, false, false, true},   // any other high state: neither
      {{0x80, 0xFF, 0xFF}, false, false, false},  // events without scanning
      {{0x40, 0xFF, 0xFF}, false, false, false},  // scanning without events
      {{0xC0}, false, false, true},               // cut short: absent states read as 0
      {{}, false, false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.events));
    EXPECT_EQ(ProcessorStatesReported(row.events), row.states);
    EXPECT_EQ(ThrottlingReported(row.events, false), row.throttling);
    EXPECT_EQ(ThrottlingReported(row.events, true), row.throttlingSingleSocket);
  }
}

TEST(SensorDecode, ThrottlingIsTheStateItsFlagsName) {
  const struct {
    Bytes bytes;
    bool byFirstByte;
    uint32_t throttled;
  } rows[] = {
      {{0x00, 0xC1, 0x01}, false, 1},  // state 0
      {{0x00, 0xC1, 0xFE}, false, 0},
      {{0x00, 0xC4, 0x02}, false, 1},  // state 1, named by flag 0x04
      {{0x00, 0xC4, 0xFD}, false, 0},
      {{0x00, 0xC5, 0x02}, false, 0},  // both named: state 0 wins
      {{0x00, 0xC0, 0x08}, false, 1},  // neither: state 3
      {{0x00, 0xC0, 0xF7}, false, 0},
      {{0x00, 0x80, 0xFF}, false, kUnset},  // without scanning, no verdict
      {{0x00, 0x40, 0xFF}, false, kUnset},
      {{0x00}, false, kUnset},
      {{0x00, 0xC0, 0xFF}, true, 1},  // by the first byte: 0 is throttled
      {{0x01, 0xC0, 0xFF}, true, 0},
      {{}, true, 1},  // an empty answer's first byte reads as 0
  };
  for (const auto& row : rows) {
    PhysicalProcessorStatus status = Unreported();
    DecodeThrottling(row.bytes, row.byFirstByte, status);
    EXPECT_EQ(status.ProcessorThrottled, row.throttled) << ::testing::PrintToString(row.bytes);
    EXPECT_EQ(States(status).substr(0, 6), "------");
  }
}

TEST(SensorDecode, AnEmptySocketIsSaidSoByValidFlagsAndNoPresence) {
  const struct {
    Bytes answer;
    size_t flagByte;
    bool empty;
  } rows[] = {
      {{0xC0, 0x00}, 0, true},
      {{0xC0, 0x80}, 0, false},
      {{0xC0, 0x7F}, 0, true},
      {{0x80, 0x00}, 0, false},
      {{0x40, 0x00}, 0, false},
      {{0xC0}, 0, true},
      {{0x00, 0xC0, 0x00}, 1, true},
      {{0x00, 0xC0, 0x80}, 1, false},
      {{0xC0, 0x00, 0x00}, 1, false},  // a reading's flags are its second byte
      {{}, 0, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ReportsEmptySocket(row.answer, row.flagByte), row.empty)
        << ::testing::PrintToString(row.answer) << " at " << row.flagByte;
  }
}

}  // namespace
