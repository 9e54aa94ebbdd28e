#include "Rounds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "ResultStatus.h"

namespace Platformq {
namespace {

constexpr uint16_t kUnsupported = 1047;

// A "Platform" module double: "/Platform/Ok..." answers a leaf, "/Platform/Empty" leaves the
// empty leaf an unanswered "@children" query leaves, "/Platform/Status" raises a status,
// "/Platform/Crash" a plain exception. failInRound makes every query fail in that round.
class RoundsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    router_.Add("Platform", [this](const std::string& query, ResultMap& result) {
      sizesSeen_.push_back(result.size());
      if (round_ == failInRound_ || query == "/Platform/Status") {
        throw ResultStatus(kUnsupported, "Not supported.", query, XCOMMAND_PROCESS_XQUERY);
      }
      if (query == "/Platform/Crash") throw std::runtime_error("boom");
      if (query == "/Platform/Empty") {
        result[query] = _XNode{};
        return;
      }
      if (query.rfind("/Platform/Ok", 0) == 0) result[query] = {XNODE_VALUE, {"yes"}, {}};
    });
  }

  int Round(const std::vector<std::string>& queries) {
    ResultMap result;
    return RunRound(queries, router_, result, err_);
  }

  int Rounds(const Options& options) {
    return RunRounds(options, router_, out_, err_, [this](unsigned ms) {
      sleeps_.push_back(ms);
      ++round_;
    });
  }

  QueryRouter router_;
  std::ostringstream out_;
  std::ostringstream err_;
  std::vector<size_t> sizesSeen_;
  std::vector<unsigned> sleeps_;
  int round_ = 1;
  int failInRound_ = 0;
};

TEST_F(RoundsTest, EveryQueryAnsweredIsZero) {
  EXPECT_EQ(Round({"/Platform/Ok1", "/Platform/Ok2"}), 0);
  EXPECT_EQ(err_.str(), "");
  EXPECT_EQ(sizesSeen_, (std::vector<size_t>{0, 1})) << "the queries share one map";
}

TEST_F(RoundsTest, AQueryLeftWithoutAnAnswerIsOneAndIsNamed) {
  EXPECT_EQ(Round({"/Platform/Ok", "/Platform/Nothing"}), 1);
  EXPECT_NE(err_.str().find("\"/Platform/Nothing\""), std::string::npos) << err_.str();
  EXPECT_EQ(Round({"/Platform/Empty"}), 1);
  EXPECT_EQ(Round({"/BIOS/Foo", "/Platform/Ok"}), 1);
  EXPECT_NE(err_.str().find("platformq: no module answers \"/BIOS/Foo\""), std::string::npos)
      << err_.str();
}

TEST_F(RoundsTest, ARaisedStatusIsTwoReportedWithCodeAndDetailAndLaterQueriesStillRun) {
  EXPECT_EQ(Round({"/Platform/Status", "/Platform/Nothing", "/Platform/Ok"}), 2);
  EXPECT_EQ(sizesSeen_.size(), 3u);
  EXPECT_NE(err_.str().find("error 1047: Not supported. (/Platform/Status)\n"), std::string::npos)
      << err_.str();
}

TEST_F(RoundsTest, AnyOtherExceptionIsTwo) {
  EXPECT_EQ(Round({"/Platform/Crash"}), 2);
  EXPECT_NE(err_.str().find("error: boom\n"), std::string::npos) << err_.str();
}

TEST_F(RoundsTest, RepeatedRoundsSleepBetweenRoundsAndStartFromAnEmptyMap) {
  Options options;
  options.repeat = 3;
  options.intervalMs = 40;
  options.queries = {"/Platform/Ok1", "/Platform/Ok2"};
  EXPECT_EQ(Rounds(options), 0);
  EXPECT_EQ(sleeps_, (std::vector<unsigned>{40, 40})) << "no wait after the last round";
  EXPECT_EQ(sizesSeen_, (std::vector<size_t>{0, 1, 0, 1, 0, 1}));
  const std::string out = out_.str();
  for (const char* header : {"# round 1 of 3\n", "# round 2 of 3\n", "# round 3 of 3\n"}) {
    EXPECT_NE(out.find(header), std::string::npos) << out;
  }
}

TEST_F(RoundsTest, AFailedRoundIsReportedAndTheNextRoundStillRuns) {
  Options options;
  options.repeat = 3;
  options.format = OutputFormat::Json;
  options.queries = {"/Platform/Ok"};
  failInRound_ = 2;
  EXPECT_EQ(Rounds(options), 2) << "the worst round decides";

  std::istringstream lines(out_.str());
  std::vector<nlohmann::json> rounds;
  for (std::string line; std::getline(lines, line);) rounds.push_back(nlohmann::json::parse(line));
  ASSERT_EQ(rounds.size(), 3u) << out_.str();
  EXPECT_TRUE(rounds[0].contains("/Platform/Ok"));
  EXPECT_TRUE(rounds[1].empty()) << "the failed round prints what it has: nothing";
  EXPECT_TRUE(rounds[2].contains("/Platform/Ok"));
}

TEST_F(RoundsTest, AnUnansweredRoundOutweighsLaterGoodOnes) {
  Options options;
  options.repeat = 2;
  options.intervalMs = 0;
  options.queries = {"/Platform/Ok"};
  router_.Add("Platform", [this](const std::string& query, ResultMap& result) {
    if (round_ > 1) result[query] = {XNODE_VALUE, {"late"}, {}};
  });
  EXPECT_EQ(Rounds(options), 1);
}

TEST_F(RoundsTest, ASingleRoundHasNoHeaderAndPrettyJson) {
  Options options;
  options.queries = {"/Platform/Ok"};
  EXPECT_EQ(Rounds(options), 0);
  EXPECT_EQ(out_.str(), "/Platform/Ok = yes\n");
  EXPECT_TRUE(sleeps_.empty());

  out_.str("");
  options.format = OutputFormat::Json;
  EXPECT_EQ(Rounds(options), 0);
  const std::string out = out_.str();
  EXPECT_GT(std::count(out.begin(), out.end(), '\n'), 1) << out;
  EXPECT_EQ(nlohmann::json::parse(out)["/Platform/Ok"]["list"][0], "yes");
}

}  // namespace
}  // namespace Platformq
