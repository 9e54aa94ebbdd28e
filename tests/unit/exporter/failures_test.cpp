#include <gtest/gtest.h>

#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "FailureCount.h"
#include "LogCapture.h"
#include "TempDir.h"

namespace Exporter {
namespace {

TEST(FailureCountTest, TheCodeAtTheStartOfALogText) {
  EXPECT_EQ(ErrorCodeOf("1036: The state of a memory module could not be read."), 1036);
  EXPECT_EQ(ErrorCodeOf("2040: x"), 2040);
  for (const char* none : {"", "1036", "1036:x", "cannot open lanplus session: timeout", ": 1036",
                           "99999: too big", "123456: far too big", " 1036: x"}) {
    EXPECT_FALSE(ErrorCodeOf(none)) << none;
  }
}

// Records are counted whatever the configured level, written only up to it, and where it says.
TEST(FailureCountTest, TheTapCountsErrorRecordsAndStillWritesWhatTheSettingsAsk) {
  TestSupport::TempDir dir;
  const std::string file = dir.Path() + "/platform.log";
  Logger* logger = Logger::CreateInstance();
  TestSupport::LogCapture outside;  // the sink the tap must give back
  prometheus::Registry registry;
  FailureCounter failures(registry);
  for (const int level : {1, 2}) {
    logger->Configure({file, level});
    {
      LogTap tap(failures);
      logger->Log(2, ".\\MemoryImpl", "f", 240, "%d: %s", 1036, "unreadable");
      logger->Log(2, "quarnapi", "f", 41, "%s", "cannot open lanplus session");
      logger->Log(3, "t", "f", 1, "%d: %s", 1999, "a trace that looks like an error");
    }
    EXPECT_EQ(logger->Settings().level, level) << "the level comes back";
  }
  logger->Log(2, "after", "f", 1, "%d: %s", 1037, "not counted");
  EXPECT_EQ(failures.Counts(), (std::map<uint16_t, uint64_t>{{1036, 2}}));
  EXPECT_EQ(outside.Records().size(), 1u) << "the previous sink is back";

  std::ifstream in(file);
  std::stringstream written;
  written << in.rdbuf();
  const std::string log = written.str();
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log;  // the level-2 run wrote both
  EXPECT_NE(log.find(" 2 .\\MemoryImpl f 240 1036: unreadable"), std::string::npos) << log;

  const std::string text = prometheus::TextSerializer().Serialize(registry.Collect());
  EXPECT_NE(text.find("# TYPE platform_failed_readings_total counter"), std::string::npos);
  EXPECT_NE(text.find("platform_failed_readings_total{code=\"1036\"} 2"), std::string::npos);
}

}  // namespace
}  // namespace Exporter
