// Platform identification on the simulated servers' firmware variables, with the scripted
// controller answering Get Device ID. Identification happens once per process: CTest runs
// each case in a fresh one.
#include <gtest/gtest.h>

#include <cctype>
#include <iterator>
#include <sstream>
#include <tuple>

#include "ErrorMgr.h"
#include "LogCapture.h"
#include "PlatformConfigModule.h"
#include "SimulatedServer.h"
#include "platform/PlatformImpl.h"

namespace {

using Platform::PlatformImpl;
using Strings = std::vector<std::string>;

constexpr const char* kNoIpmi = "fail 3\ndevice-id 20 81 05 02 02 bf 57 01 00 3e 00\n";

// "e0 e1" -> {"e0", "e1", "ff", ...} of the given size.
Strings Sensors(const std::string& listed, size_t size) {
  std::istringstream in(listed);
  Strings out{std::istream_iterator<std::string>(in), {}};
  out.resize(size, "ff");
  return out;
}

struct Case {
  std::string efiCase, family, board, script = kNoIpmi, name = efiCase;
  int error = 0, line = 0;  // thrown by the first call, logged at line
};
Case Failing(std::string efiCase, int line) {
  return {efiCase, "", "", kNoIpmi, efiCase, 1018, line};
}
// A board the table lacks, with Get Device ID giving product ID "high low".
Case Product(std::string id, std::string family) {
  const std::string script = "device-id 20 81 05 02 02 bf 57 01 00 " + id.substr(3) + " " +
                             id.substr(0, 2) + " 00 00 00 00\n";
  return {"unknown-board", family, "R8800XQ", script, "product " + id};
}

std::vector<Case> Cases() {
  std::vector<Case> cases = {
      {"board-table-hit", "KARVO_PLATFORM", "R7100QTN"},
      {"trailing-underscore", "PIRLOW_PLATFORM", "R7500LG_"},
      {"blank-fru", "TESKAR_PLATFORM", "Blank FRU"},
      {"board-40-characters", "KARVO_PLATFORM", "R7100QTN-0123456789-ABCDEFGHIJ-abcdefghi",
       Product("00 3b", "").script},
      {"unknown-board", "", "R8800XQ", "device-id cc=c1\n", "no product id", 1026, 126},
      Failing("bad-signature", 167),
      Failing("no-variable", 167),
      Failing("wrong-firmware-guid", 173),
      Failing("wrong-firmware-guid-first-half", 173),
      Failing("short-data", 173)};
  const std::pair<const char*, const char*> products[] = {
      {"00 3e", "ZORVEL_PLATFORM"}, {"00 40", "ZORVEL_PLATFORM"}, {"00 28", "KARVO_PLATFORM"},
      {"00 29", "KARVO_PLATFORM"},  {"00 2c", "KARVO_PLATFORM"},  {"00 2b", "KARVO_PLATFORM"},
      {"00 3b", "KARVO_PLATFORM"},  {"01 07", "TESKAR_PLATFORM"}, {"00 3d", "DUVANE_PLATFORM"},
      {"00 3a", "ROPHIN_PLATFORM"}, {"12 34", "OTHER_PLATFORM"}};
  for (const auto& [id, family] : products) cases.push_back(Product(id, family));
  return cases;
}

class Identify : public ::testing::TestWithParam<Case> {};

// What hosts read of identification: nothing before it has run (reading does not run it), then
// the family and board, cut to the buffer.
std::tuple<int, std::string, std::string> Identity(size_t boardRoom = 64) {
  char family[32] = "junk";
  std::string board(boardRoom, 'x');
  const int status = GetPlatformConfigIdentity(family, sizeof family, board.data(), boardRoom);
  return {status, family, board.c_str()};
}

// A failure is thrown by the first call only; later calls give the same, unidentified instance.
TEST_P(Identify, BoardAndFamilyFromTheFirmwareOrTheController) {
  const Case& c = GetParam();
  PlatformTest::SimulatedServer server(c.efiCase, c.script);
  TestSupport::LogCapture log;
  EXPECT_EQ(Identity(), std::make_tuple(1, "", ""));
  EXPECT_EQ(Identity(), std::make_tuple(1, "", "")) << "reading identified nothing";
  char room[4];
  EXPECT_EQ(GetPlatformConfigIdentity(nullptr, 0, room, sizeof room), -1);
  if (c.error != 0) {
    const auto status = PlatformTest::Thrown([] { PlatformImpl::GetInstance(); });
    ASSERT_TRUE(status);
    EXPECT_EQ(status->GetCode(), c.error);
    const bool badVariable = c.error == 1018;
    const char* function = badVariable ? "Platform::PlatformImpl::GetPlatformIDfromSMI"
                                       : "Platform::PlatformImpl::IdentifyPlatform";
    EXPECT_EQ(
        log.Errors(),
        (std::vector<TestSupport::LoggedError>{{".\\PlatformImpl", function, c.line, c.error}}));
    const std::string message = ErrorMgr::GetInstance()->Get(1018);
    EXPECT_EQ(
        std::make_tuple(status->GetMessage() == message, status->GetDetail(), status->GetCommand()),
        badVariable ? std::make_tuple(true, std::string(), XCOMMAND_NONE)
                    : std::make_tuple(false, std::string("20 06 00 01"), XCOMMAND_PROCESS_XQUERY));
  }
  PlatformImpl* platform = PlatformImpl::GetInstance();
  ASSERT_NE(platform, nullptr);
  EXPECT_EQ(PlatformImpl::GetInstance(), platform);
  EXPECT_EQ(platform->family, c.family);
  if (!c.board.empty()) {
    EXPECT_EQ(platform->GetBoardID(), c.board);
  }
  EXPECT_EQ(Identity(), std::make_tuple(0, c.family, platform->boardId));
  EXPECT_EQ(std::get<2>(Identity(4)), platform->boardId.substr(0, 3));
  EXPECT_EQ(log.Records().size(), c.error != 0 ? 1U : 0U);
  // The DIMM sensors key on the board, which the table does not know, whatever the family.
  if (c.efiCase == "unknown-board") {
    EXPECT_EQ(platform->GetDimmSensorNumbers(platform->boardId.c_str()), Sensors("", 32));
  }
}

INSTANTIATE_TEST_SUITE_P(Efi, Identify, ::testing::ValuesIn(Cases()), [](const auto& p) {
  std::string name = p.param.name;
  for (char& c : name) c = std::isalnum(c) ? c : '_';
  return name;
});

}  // namespace
