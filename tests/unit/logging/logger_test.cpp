#include <gtest/gtest.h>

#include <fstream>
#include <regex>

#include "LogCapture.h"
#include "Logger.h"
#include "TempDir.h"

namespace {

using TestSupport::LogCapture;

// Restores the logger's settings after a test changes them.
class LoggerTest : public ::testing::Test {
 protected:
  void TearDown() override { logger_->Configure(saved_); }
  Logger* logger_ = Logger::CreateInstance();
  LoggerSettings saved_ = logger_->Settings();
};

TEST_F(LoggerTest, RecordsCarryFixedSitesOnOneLineUpToTheLevel) {
  logger_->Configure({"", 1});
  LogCapture capture;
  logger_->Log(2, "s", "f", 1, "dropped: level 2 is above 1");
  logger_->Log(1, ".\\PlatformConfigMgr", "Module::PlatformConfig::PlatformConfigMgr::Initialize",
               66, "%d: %s", 1027, "first\nsecond");
  const std::string big(10000, 'x');
  logger_->Log(0, "s", "f", 2, "%s", big.c_str());

  ASSERT_EQ(capture.Records().size(), 2u);
  const LogRecord& r = capture.Records()[0];
  EXPECT_EQ(r.level, 1);
  EXPECT_EQ(r.source, ".\\PlatformConfigMgr");
  EXPECT_EQ(r.function, "Module::PlatformConfig::PlatformConfigMgr::Initialize");
  EXPECT_EQ(r.line, 66);
  EXPECT_EQ(r.text, "1027: first second");
  EXPECT_TRUE(std::regex_match(r.time, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)")));
  EXPECT_EQ(capture.Records()[1].text, big);  // long text is not cut

  std::string message;
  logger_->CreateMessage(message, "a\r\nb\tc");
  EXPECT_EQ(message, "a  b c");
}

TEST_F(LoggerTest, WritesLinesToTheConfiguredFileElseStandardError) {
  TestSupport::TempDir dir;
  const std::string file = dir.Path() + "/module.log";
  logger_->Configure({file, 2});
  logger_->Log(2, ".\\common", "Module::PlatformConfig::GetQuery", 155, "%d: %s", 1034, "one");
  logger_->Log(2, ".\\common", "Module::PlatformConfig::GetQuery", 155, "%d: %s", 1034, "two");
  logger_->Configure({dir.Path() + "/no/such/dir/x.log", 2});  // closes the first file

  std::ifstream in(file);
  std::string first, second, extra;
  ASSERT_TRUE(std::getline(in, first) && std::getline(in, second));
  EXPECT_FALSE(std::getline(in, extra));
  EXPECT_TRUE(std::regex_match(
      first, std::regex(R"(\S+Z 2 \.\\common Module::PlatformConfig::GetQuery 155 1034: one)")))
      << first;
  EXPECT_NE(second.find("1034: two"), std::string::npos);

  // A file that cannot be opened must not silence the log.
  testing::internal::CaptureStderr();
  logger_->Log(2, "s", "f", 3, "still seen");
  EXPECT_NE(testing::internal::GetCapturedStderr().find(" s f 3 still seen"), std::string::npos);
}

}  // namespace
