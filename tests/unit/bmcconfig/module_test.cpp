// The exported module answering from the scripted double, which the driver's name finds first
// on this test's library path.
#include <gtest/gtest.h>

#include "BMCConfigModule.h"
#include "Raised.h"
#include "TempDir.h"

namespace {

using Module::BMCConfig::BMCConfigModule;
using Strings = std::vector<std::string>;

class BmcOverIpmi : public ::testing::Test {
 protected:
  void Script(const std::string& text) { dir_.Write("bmc.script", text); }
  ResultMap Query(const std::string& query) {
    ResultMap answer;
    BMCConfigModule().Process(query, answer);
    return answer;
  }
  TestSupport::TempDir dir_;
  TestSupport::ScopedEnv script_{"QUARNAPI_SIM_SCRIPT", dir_.Path() + "/bmc.script"};
};

TEST_F(BmcOverIpmi, SensorLeavesHoldTheReplyFromEachByteOn) {
  Script("reading 5 00 c0 82 00\nevent-status 5 c0 80 0a\nreading 6\n");
  EXPECT_EQ(Query("/BMC/SENSOR[5]/VALUE")["/BMC/SENSOR[5]/VALUE"].list,
            (Strings{"0 c0 82 0", "c0 82 0", "82 0", "0"}));
  ResultMap answer{{"/Earlier", {}}};
  BMCConfigModule().Process("/BMC/SENSOR[5]/PROCEVENT", answer);
  EXPECT_EQ(answer.size(), 2U);
  EXPECT_EQ(answer["/BMC/SENSOR[5]/PROCEVENT"].list, (Strings{"c0 80 a", "80 a", "a"}));
  // An empty reply is still an answer: the leaf, with no values.
  answer = Query("/BMC/SENSOR[6]/VALUE");
  EXPECT_TRUE(answer.size() == 1 && answer["/BMC/SENSOR[6]/VALUE"].list.empty());
}

// Record IDs (hexadecimal in the script) that fall as the log goes on: keys follow the log.
TEST_F(BmcOverIpmi, EventLogRecordsAreKeyedInLogOrder) {
  std::string text;
  for (int i = 0; i < 11; ++i) {
    text += "sel " + std::to_string(40 - 3 * i) + " 00 02 " + std::to_string(i) +
            " 00 00 00 20 00 04 0c 08 6f 40 ff ff\n";
  }
  Script(text);
  const ResultMap answer = Query("/BMC/SEL/RECORD");
  ASSERT_EQ(answer.size(), 11U);
  EXPECT_EQ(answer.begin()->first, "/BMC/SEL/RECORD[00001]");
  EXPECT_EQ(answer.begin()->second.list, Strings{"37 0 40 0 2 0 0 0 0 20 0 4 c 8 6f 40 ff ff"});
  EXPECT_EQ(std::next(answer.begin(), 9)->first, "/BMC/SEL/RECORD[00010]");
  EXPECT_EQ(answer.rbegin()->second.list, Strings{"ff ff 10 0 2 10 0 0 0 20 0 4 c 8 6f 40 ff ff"});
  Script("reading 1 00\n");
  EXPECT_TRUE(Query("/BMC/SEL/RECORD").empty()) << "an empty log answers nothing";
}

TEST_F(BmcOverIpmi, FailuresThrowWithTheRequestAndOtherPathsSendNothing) {
  Script("fail 1\nreading 5 cc=c1\nevent-status 5 c0\nraw 0a 43 00 00 00 00 00 ff : cc=c0\n");
  // Had any of these sent a request, it would have taken the scripted failure.
  for (const char* other : {"/BMC/SEL", "/BMC/SENSOR[5]", "/BMC/FAN[1]/VALUE", "/Platform/OS"}) {
    EXPECT_TRUE(Query(other).empty()) << other;
  }
  const std::tuple<const char*, int, const char*> cases[] = {
      // In this order: the first send fails, whatever it asks.
      {"/BMC/SENSOR[5]/PROCEVENT", 2040,
       "driver status 4 (send failed) request 20 04 00 2b 05: the script makes this request fail"},
      {"/BMC/SENSOR[5]/VALUE", 2042, "cc=c1 request 20 04 00 2d 05"},
      {"/BMC/SENSOR[9]/VALUE", 2042, "cc=cb request 20 04 00 2d 09"},
      {"/BMC/SEL/RECORD", 2042, "cc=c0 request 20 0a 00 43 00 00 00 00 00 ff"},
      {"/BMC/SENSOR[256]/VALUE", 2045, "sensor number \"256\" in /BMC/SENSOR[256]/VALUE"}};
  for (const auto& [query, code, detail] : cases) {
    ResultMap answer;
    const auto status = BmcTest::Raised([&, q = query] { BMCConfigModule().Process(q, answer); });
    ASSERT_TRUE(status && answer.empty()) << query;
    EXPECT_EQ(status->GetCode(), code);
    EXPECT_EQ(status->GetDetail(), detail);
  }
  EXPECT_EQ(Query("/BMC/SENSOR[5]/PROCEVENT")["/BMC/SENSOR[5]/PROCEVENT"].list, Strings{"c0"});
}

TEST_F(BmcOverIpmi, AnInstalledSourceAnswersInsteadOfTheController) {
  Script("reading 5 01\n");
  const auto previous =
      BMCConfigModule::InstallAnswerSource([](const std::string& q, ResultMap& a) {
        a[q] = _XNode{XNODE_VALUE, {"installed"}, {}};
      });
  EXPECT_EQ(Query("/BMC/SENSOR[5]/VALUE")["/BMC/SENSOR[5]/VALUE"].list, Strings{"installed"});
  BMCConfigModule::InstallAnswerSource(previous);
  EXPECT_EQ(Query("/BMC/SENSOR[5]/VALUE")["/BMC/SENSOR[5]/VALUE"].list, Strings{"1"});
}

}  // namespace
