// The fixed data of identification, on the instance identified from a board the table knows:
// every board key with its family, and the sensor lists each family's boards get.
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

#include "SimulatedServer.h"
#include "platform/PlatformImpl.h"

namespace {

using Platform::PlatformImpl;
using Strings = std::vector<std::string>;

// "e0 e1" -> {"e0", "e1", "ff", ...} of the given size.
Strings Sensors(const std::string& listed, size_t size) {
  std::istringstream in(listed);
  Strings out{std::istream_iterator<std::string>(in), {}};
  out.resize(size, "ff");
  return out;
}

class IdentifiedPlatform : public ::testing::Test {
 protected:
  PlatformTest::SimulatedServer server_{"board-table-hit"};
  PlatformImpl* platform_ = PlatformImpl::GetInstance();
};

// All 53 keys of the board table, by family.
TEST_F(IdentifiedPlatform, EveryBoardKeyNamesItsFamilyExactly) {
  const std::pair<const char*, std::vector<const char*>> families[] = {
      {"KARVO_PLATFORM",
       {"R7100QEN", "R7100QTN", "R7100QTN VOKIM", "R7100WEN", "R7100WTN", "R7100WMK", "R7100JTE",
        "Tormida", "KIVESH", "TORMIDA", "QUENFORD"}},
      {"KARVO_PLATFORM2", {"R7100JDN", "BRISTANE"}},
      {"KARVO_PLATFORM3", {"R7300QB"}},
      {"PIRLOW_PLATFORM", {"R7300LG", "R7500LG_", "PIRLOW"}},
      {"TESKAR_PLATFORM", {"TGD6WB", "Blank FRU", "TESKAR"}},
      {"ROPHIN_PLATFORM", {"R2100NYD", "R2300NYD", "R2300NYZ", "ROPHIN"}},
      {"DUVANE_PLATFORM", {"K61QE", "K61QEVR", "DUVANE"}},
      {"ZORVEL_PLATFORM",
       {"R7620MJ",    "R7620MJ_",   "R7600DT",    "R7600DT_",    "R7620KW",  "R7620KW_",
        "Felmoor",    "MarrowGlen", "CinderGlen", "R7600MJB",    "R7620PV",  "FELMOOR_",
        "FELMOOR",    "MARROWGLEN", "CINDERGLEN", "ASHENTHORPE", "R7600HX",  "VALDERTON",
        "HALVERMOOR", "DESKOVA",    "R2540YFZ",   "R2540YFD",    "R2540YFK", "Copper Vale",
        "R2540YFT",   "R2540YFM"}},
      // Case, blanks and the trailing "_" count; family names are no boards.
      {"", {"tormida", "R7500LG", "Blank FRU ", "R7100QTN_", "ZORVEL", "KARVO"}},
  };
  platform_->InitBoardTable();  // rebuilding keeps every row as it was
  for (const auto& [family, boards] : families) {
    for (const char* board : boards)
      EXPECT_EQ(platform_->LookupBoardFamily(board), family) << board;
  }
}

TEST_F(IdentifiedPlatform, SensorListsFollowTheFamilyTheTableGivesTheBoard) {
  const std::string tgd6 =
      "c0 c1 c2 c3 c4 c5 c6 c7 c8 c9 ca cb cc cd ce cf "
      "d0 d1 d2 d3 d4 d5 d6 d7 d8 d9 da db dc dd de df";
  const struct {
    const char* board;
    std::string dimms, groupA, groupB;
  } rows[] = {
      {"R7100QTN", "e0 e1 e2 e3 e4 e5 e6 e7", "90 91 92 93", "c0 c1 c2 c3"},
      {"BRISTANE", "e0 e1 e2 e3 e4 e5", "90 91 92 93", "c0 c1 c2 c3"},
      {"R7300QB", "e0 e1 f7 f8 e2 e3 f9 fa e4 e5 fb fc e6 e7 fd fe", "90 91 92 93", "c0 c1 c2 c3"},
      {"TGD6WB", tgd6, "", ""},
      {"R7300LG", "e0 e1 e2 e3 e4 e5 e6 e7 f7 f8 f9 fa fb fc fd fe", "90 91", "c0 c1"},
      {"ROPHIN", "", "0f", "10"},
      {"K61QE", "", "10", "11"},
      {"FELMOOR_", "", "60 61", "62 63"},
      // Unknown: added to the table with no family, so it stays unknown.
      {"R8800XQ", "", "", ""},
      {nullptr, "", "", ""}};
  for (const auto& row : rows) {
    EXPECT_EQ(platform_->GetDimmSensorNumbers(row.board), Sensors(row.dimms, 32)) << row.dimms;
    if (row.board == nullptr) continue;
    EXPECT_EQ(platform_->GetSensorGroupA(row.board), Sensors(row.groupA, 4)) << row.board;
    EXPECT_EQ(platform_->GetSensorGroupB(row.board), Sensors(row.groupB, 4)) << row.board;
  }
  EXPECT_EQ(platform_->LookupBoardFamily("R8800XQ"), "");
}

}  // namespace
