// The pure parts on bytes and texts, the event-log walk against a fake controller, and the
// driver loader's failures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "Raised.h"
#include "bmc_query.h"
#include "driver_library.h"
#include "ipmi_answers.h"
#include "oslib/Process.h"
#include "sel_walk.h"

namespace {

using namespace Module::BMCConfig;
using BmcTest::Raised;
using ::testing::HasSubstr;
using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;

TEST(Query, NamesASensorTheLogOrNothing) {
  const auto sensor = ParseBmcQuery("BMC//SENSOR[007]/PROCEVENT/");
  ASSERT_TRUE(sensor);
  EXPECT_EQ(std::make_tuple(sensor->kind, sensor->sensor, sensor->path),
            std::make_tuple(BmcQueryKind::kSensorEventStatus, 7, "/BMC/SENSOR[007]/PROCEVENT"));
  EXPECT_EQ(ParseBmcQuery("/BMC/SENSOR[255]/VALUE")->sensor, 255);
  EXPECT_EQ(ParseBmcQuery("/BMC/SEL/RECORD")->kind, BmcQueryKind::kSelRecords);
  for (const char* other : {"", "/BMC", "/BMC/SEL", "/BMC/SEL/RECORD[00001]", "/BMC/SENSOR[5]",
                            "/BMC/SENSOR[x]/OTHER", "/BMC/SENSOR/VALUE", "/BMC/SENSOR[5/VALUE",
                            "/bmc/SENSOR[5]/VALUE", "/X/BMC/SENSOR[5]/VALUE"}) {
    EXPECT_FALSE(ParseBmcQuery(other)) << other;
  }
  for (const char* malformed :
       {"/BMC/SENSOR[]/VALUE", "/BMC/SENSOR[256]/VALUE", "/BMC/SENSOR[99999999999999999999]/VALUE",
        "/BMC/SENSOR[-1]/VALUE", "/BMC/SENSOR[0x10]/PROCEVENT", "/BMC/SENSOR[@n='5']/VALUE"}) {
    const auto status = Raised([&] { ParseBmcQuery(malformed); });
    ASSERT_TRUE(status) << malformed;
    EXPECT_EQ(status->GetCode(), 2045) << malformed;
    EXPECT_THAT(status->GetDetail(), HasSubstr(malformed));
  }
}

// A Get SEL Entry reply naming next as the following record.
IpmiReply Entry(uint16_t next) {
  Bytes data(kSelEntryReplyBytes, 0x11);
  data[0] = static_cast<uint8_t>(next & 0xFF);
  data[1] = static_cast<uint8_t>(next >> 8);
  return {kCcOk, data};
}

// Answers each requested record ID from the map, "not present" otherwise; counts requests.
std::optional<ResultStatus> Walk(const std::map<uint16_t, IpmiReply>& log, size_t* sent) {
  return Raised([&] {
    WalkSel([&](const IpmiRequest& request) {
      ++*sent;
      const auto found =
          log.find(static_cast<uint16_t>(request.data.at(2) | request.data.at(3) << 8));
      return found != log.end() ? found->second : IpmiReply{kCcNotPresent, {}};
    });
  });
}

TEST(SelWalk, BadRepliesAndRepeatedIdsEndTheWalkWithAnError) {
  const struct {
    IpmiReply second;  // the reply for record 0002h, after a good first entry
    int code;
    const char* detail;
  } cases[] = {
      {{kCcNotPresent, {}}, 2042, "cc=cb request 20 0a 00 43 00 00 02 00 00 ff"},
      {{kCcOk, Bytes(kSelEntryReplyBytes - 1)}, 2043, "17 data bytes"},
      {{kCcOk, Bytes(kSelEntryReplyBytes + 1, 0xFF)}, 2043, "19 data bytes"},
      {{kCcOk, {}}, 2043, "0 data bytes"},
      {Entry(kSelFirstRecord), 2044, "names next record 0000"},
  };
  for (const auto& c : cases) {
    size_t sent = 0;
    const auto status = Walk({{kSelFirstRecord, Entry(2)}, {2, c.second}}, &sent);
    ASSERT_TRUE(status) << c.detail;
    EXPECT_EQ(status->GetCode(), c.code) << c.detail;
    EXPECT_THAT(status->GetDetail(), HasSubstr(c.detail));
  }

  // The longest walk there can be: every ID from 0001h to FFFEh once, then one already read.
  std::map<uint16_t, IpmiReply> longest{{kSelFirstRecord, Entry(1)}};
  for (uint16_t id = 1; id < kSelLastRecord - 1; ++id) longest[id] = Entry(id + 1);
  longest[kSelLastRecord - 1] = Entry(0x1234);
  size_t sent = 0;
  const auto status = Walk(longest, &sent);
  ASSERT_TRUE(status);
  EXPECT_EQ(status->GetCode(), 2044);
  EXPECT_EQ(sent, 65535U);
}

TEST(DriverLoad, TriesEachCandidateAndNamesEveryReason) {
  const auto missing = Raised([] {
    DriverLibrary::Load({"libabsent.so", "/no-dir/libabsent.so"});
  });
  ASSERT_TRUE(missing);
  EXPECT_EQ(missing->GetCode(), 2041);
  EXPECT_THAT(missing->GetDetail(), HasSubstr("libabsent.so: cannot open"));
  EXPECT_THAT(missing->GetDetail(), HasSubstr("; /no-dir/libabsent.so: cannot open"));
  // A library that loads but is no driver ends the search; a later one that loads is taken.
  const std::string double_ = Ordix::OS::ExecutableDirectory() + "/libquarnapi-sim.so";
  const auto notDriver = Raised([&] { DriverLibrary::Load({"libOrdixXQuery.so", double_}); });
  ASSERT_TRUE(notDriver);
  EXPECT_THAT(notDriver->GetDetail(), HasSubstr("libOrdixXQuery.so: no function"));
  EXPECT_FALSE(Raised([&] { DriverLibrary::Load({"libabsent.so", double_}); }));
}

}  // namespace
