// Platform identification on the simulated servers' firmware variables, with the scripted
// controller answering Get Device ID. Identification happens once per process, so every case
// here is its own test (CTest runs each in a fresh process).

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "ErrorMgr.h"
#include "LogCapture.h"
#include "SimulatedServer.h"
#include "platform/PlatformImpl.h"

namespace {

using Platform::PlatformImpl;
using PlatformTest::SimulatedServer;
using PlatformTest::Thrown;
using Strings = std::vector<std::string>;

// Any IPMI request fails: identification must not send one.
constexpr const char* kNoIpmi = "fail 3\ndevice-id 20 81 05 02 02 bf 57 01 00 3e 00\n";

// A Get Device ID reply carrying product ID high:low.
std::string DeviceId(const std::string& low, const std::string& high) {
  return "device-id 20 81 05 02 02 bf 57 01 00 " + low + " " + high + " 00 00 00 00\n";
}

// "e0 e1" -> {"e0", "e1", "ff", ...} of the given size.
Strings Sensors(const std::string& listed, size_t size) {
  std::istringstream in(listed);
  Strings out;
  for (std::string word; in >> word;) out.push_back(word);
  out.resize(size, "ff");
  return out;
}

// Test names from the firmware case ("blank-fru" -> "blank_fru").
std::string CaseName(std::string efiCase) {
  for (char& c : efiCase) c = c == '-' ? '_' : c;
  return efiCase;
}

struct BoardCase {
  const char *efiCase, *board, *family;
};
class BoardTableHit : public ::testing::TestWithParam<BoardCase> {};

TEST_P(BoardTableHit, FamilyComesFromTheTableWithoutAskingTheController) {
  SimulatedServer server(GetParam().efiCase, kNoIpmi);
  const PlatformImpl* platform = PlatformImpl::GetInstance();
  ASSERT_NE(platform, nullptr);
  EXPECT_EQ(platform->GetBoardID(), GetParam().board);
  EXPECT_EQ(platform->family, GetParam().family);
  EXPECT_EQ(PlatformImpl::GetInstance(), platform);
}

INSTANTIATE_TEST_SUITE_P(
    Efi, BoardTableHit,
    ::testing::Values(BoardCase{"board-table-hit", "R7100QTN", "KARVO_PLATFORM"},
                      BoardCase{"trailing-underscore", "R7500LG_", "PIRLOW_PLATFORM"},
                      BoardCase{"blank-fru", "Blank FRU", "TESKAR_PLATFORM"}),
    [](const auto& p) { return CaseName(p.param.efiCase); });

struct ProductCase {
  const char *low, *high, *family;
};
class ProductIdFallback : public ::testing::TestWithParam<ProductCase> {};

// The DIMM sensors key on the board, which the table does not know, whatever the controller
// made of the family.
TEST_P(ProductIdFallback, UnknownBoardTakesItsFamilyFromGetDeviceId) {
  SimulatedServer server("unknown-board", DeviceId(GetParam().low, GetParam().high));
  PlatformImpl* platform = PlatformImpl::GetInstance();
  EXPECT_EQ(platform->boardId, "R8800XQ");
  EXPECT_EQ(platform->family, GetParam().family);
  EXPECT_EQ(platform->GetDimmSensorNumbers(platform->boardId.c_str()), Sensors("", 32));
}

INSTANTIATE_TEST_SUITE_P(Map, ProductIdFallback,
                         ::testing::Values(ProductCase{"3e", "00", "ZORVEL_PLATFORM"},
                                           ProductCase{"40", "00", "ZORVEL_PLATFORM"},
                                           ProductCase{"28", "00", "KARVO_PLATFORM"},
                                           ProductCase{"29", "00", "KARVO_PLATFORM"},
                                           ProductCase{"2c", "00", "KARVO_PLATFORM"},
                                           ProductCase{"2b", "00", "KARVO_PLATFORM"},
                                           ProductCase{"3b", "00", "KARVO_PLATFORM"},
                                           ProductCase{"07", "01", "TESKAR_PLATFORM"},
                                           ProductCase{"3d", "00", "DUVANE_PLATFORM"},
                                           ProductCase{"3a", "00", "ROPHIN_PLATFORM"},
                                           ProductCase{"34", "12", "OTHER_PLATFORM"}),
                         [](const auto& p) { return std::string(p.param.high) + p.param.low; });

TEST(Identify, FortyCharacterBoardFillsItsWholeField) {
  SimulatedServer server("board-40-characters", DeviceId("3b", "00"));
  const PlatformImpl* platform = PlatformImpl::GetInstance();
  EXPECT_EQ(platform->boardId, "R7100QTN-0123456789-ABCDEFGHIJ-abcdefghi");
  EXPECT_EQ(platform->family, "KARVO_PLATFORM");
}

TEST(Identify, GetDeviceIdReplyWithoutProductIdFailsWith1026Once) {
  SimulatedServer server("unknown-board", "device-id cc=c1\n");
  TestSupport::LogCapture log;
  const auto status = Thrown([] { PlatformImpl::GetInstance(); });
  ASSERT_TRUE(status);
  EXPECT_EQ(status->GetCode(), 1026);
  EXPECT_EQ(status->GetDetail(), "20 06 00 01");
  ASSERT_EQ(log.Records().size(), 1U);
  EXPECT_EQ(log.Records()[0].function, "Platform::PlatformImpl::IdentifyPlatform");
  EXPECT_EQ(PlatformImpl::GetInstance()->family, "");
  EXPECT_EQ(PlatformImpl::GetInstance()->boardId, "R8800XQ");
}

struct BadVariable {
  const char* efiCase;
  int line;
};
class BadFirmwareVariable : public ::testing::TestWithParam<BadVariable> {};

TEST_P(BadFirmwareVariable, FirstCallThrows1018LaterCallsGiveTheUnidentifiedInstance) {
  SimulatedServer server(GetParam().efiCase, kNoIpmi);
  TestSupport::LogCapture log;
  const auto status = Thrown([] { PlatformImpl::GetInstance(); });
  ASSERT_TRUE(status);
  const std::string message = ErrorMgr::GetInstance()->Get(1018);
  EXPECT_EQ(status->GetCode(), 1018);
  EXPECT_EQ(status->GetMessage(), message);
  EXPECT_EQ(status->GetDetail(), "");
  EXPECT_EQ(status->GetCommand(), XCOMMAND_NONE);
  ASSERT_EQ(log.Records().size(), 1U);
  EXPECT_EQ(log.Records()[0].function, "Platform::PlatformImpl::GetPlatformIDfromSMI");
  EXPECT_EQ(log.Records()[0].line, GetParam().line);
  EXPECT_EQ(log.Records()[0].text, "1018: " + message);

  const PlatformImpl* platform = PlatformImpl::GetInstance();
  ASSERT_NE(platform, nullptr);
  EXPECT_EQ(PlatformImpl::GetInstance(), platform);
  EXPECT_EQ(platform->family, "");
  EXPECT_EQ(log.Records().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Efi, BadFirmwareVariable,
                         ::testing::Values(BadVariable{"bad-signature", 167},
                                           BadVariable{"no-variable", 167},
                                           BadVariable{"wrong-firmware-guid", 173},
                                           BadVariable{"short-data", 173}),
                         [](const auto& p) { return CaseName(p.param.efiCase); });

class IdentifiedPlatform : public ::testing::Test {
 protected:
  SimulatedServer server_{"board-table-hit", kNoIpmi};
  PlatformImpl* platform_ = PlatformImpl::GetInstance();
};

TEST_F(IdentifiedPlatform, BoardTableKeysMatchExactly) {
  const std::pair<const char*, const char*> rows[] = {{"Tormida", "KARVO_PLATFORM"},
                                                      {"TORMIDA", "KARVO_PLATFORM"},
                                                      {"tormida", ""},
                                                      {"R7620MJ_", "ZORVEL_PLATFORM"},
                                                      {"R7500LG", ""},
                                                      {"Blank FRU ", ""},
                                                      {"BRISTANE", "KARVO_PLATFORM2"},
                                                      {"PIRLOW", "PIRLOW_PLATFORM"},
                                                      {"ZORVEL", ""},
                                                      {"R7300QB", "KARVO_PLATFORM3"},
                                                      {"ROPHIN", "ROPHIN_PLATFORM"}};
  platform_->InitBoardTable();  // rebuilding keeps every row as it was
  for (const auto& [board, family] : rows) {
    EXPECT_EQ(platform_->LookupBoardFamily(board), family) << board;
  }
}

TEST_F(IdentifiedPlatform, SensorListsFollowTheBoardsFamilyInTheTable) {
  const struct {
    const char *board, *dimms, *groupA, *groupB;
  } rows[] = {
      {"R7100QTN", "e0 e1 e2 e3 e4 e5 e6 e7", "90 91 92 93", "c0 c1 c2 c3"},
      {"BRISTANE", "e0 e1 e2 e3 e4 e5", "90 91 92 93", "c0 c1 c2 c3"},
      {"R7300QB", "e0 e1 f7 f8 e2 e3 f9 fa e4 e5 fb fc e6 e7 fd fe", "90 91 92 93", "c0 c1 c2 c3"},
      {"TGD6WB",
       "c0 c1 c2 c3 c4 c5 c6 c7 c8 c9 ca cb cc cd ce cf "
       "d0 d1 d2 d3 d4 d5 d6 d7 d8 d9 da db dc dd de df",
       "", ""},
      {"R7300LG", "e0 e1 e2 e3 e4 e5 e6 e7 f7 f8 f9 fa fb fc fd fe", "90 91", "c0 c1"},
      {"ROPHIN", "", "0f", "10"},
      {"K61QE", "", "10", "11"},
      {"FELMOOR_", "", "60 61", "62 63"},
      {"R8800XQ", "", "", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(platform_->GetDimmSensorNumbers(row.board), Sensors(row.dimms, 32)) << row.board;
    EXPECT_EQ(platform_->GetSensorGroupA(row.board), Sensors(row.groupA, 4)) << row.board;
    EXPECT_EQ(platform_->GetSensorGroupB(row.board), Sensors(row.groupB, 4)) << row.board;
  }
  EXPECT_EQ(platform_->LookupBoardFamily("R8800XQ"), "");
  EXPECT_EQ(platform_->GetDimmSensorNumbers(nullptr), Sensors("", 32));
}

}  // namespace
