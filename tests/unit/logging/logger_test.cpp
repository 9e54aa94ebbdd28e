#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>

#include "LogCapture.h"
#include "Logger.h"
#include "TempDir.h"

namespace {

using TestSupport::LogCapture;
using TestSupport::TempDir;

// Restores the logger's settings after a test changes them.
class LoggerTest : public ::testing::Test {
 protected:
  void SetUp() override { saved_ = logger_->Settings(); }
  void TearDown() override { logger_->Configure(saved_); }
  Logger* logger_ = Logger::CreateInstance();
  LoggerSettings saved_;
};

TEST_F(LoggerTest, RecordCarriesFixedSiteAndFormattedText) {
  logger_->Configure({"", 2});
  LogCapture capture;
  logger_->Log(2, ".\\PlatformConfigMgr", "Module::PlatformConfig::PlatformConfigMgr::Initialize",
               66, "%d: %s", 1027, "A component could not be created.");
  ASSERT_EQ(capture.Records().size(), 1u);
  const LogRecord& r = capture.Records()[0];
  EXPECT_EQ(r.level, 2);
  EXPECT_EQ(r.source, ".\\PlatformConfigMgr");
  EXPECT_EQ(r.function, "Module::PlatformConfig::PlatformConfigMgr::Initialize");
  EXPECT_EQ(r.line, 66);
  EXPECT_EQ(r.text, "1027: A component could not be created.");
  EXPECT_TRUE(std::regex_match(r.time, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)")))
      << r.time;
}

TEST_F(LoggerTest, LevelsAboveTheConfiguredOneAreDropped) {
  logger_->Configure({"", 1});
  LogCapture capture;
  logger_->Log(2, "s", "f", 1, "dropped");
  logger_->Log(1, "s", "f", 1, "kept");
  ASSERT_EQ(capture.Records().size(), 1u);
  EXPECT_EQ(capture.Records()[0].text, "kept");
}

TEST_F(LoggerTest, EveryRecordIsOneLine) {
  logger_->Configure({"", 2});
  std::string message;
  logger_->CreateMessage(message, "first line\nsecond\tline\r");
  EXPECT_EQ(message, "first line second line ");
  LogCapture capture;
  logger_->Log(2, "s", "f", 1, "%s", "a\nb");
  ASSERT_EQ(capture.Records().size(), 1u);
  EXPECT_EQ(capture.Records()[0].text, "a b");
}

TEST_F(LoggerTest, LongTextIsNotCut) {
  logger_->Configure({"", 2});
  LogCapture capture;
  const std::string big(10000, 'x');
  logger_->Log(2, "s", "f", 1, "%s", big.c_str());
  ASSERT_EQ(capture.Records().size(), 1u);
  EXPECT_EQ(capture.Records()[0].text, big);
}

TEST_F(LoggerTest, WritesLinesToTheConfiguredFile) {
  TempDir dir;
  const std::string file = dir.Path() + "/module.log";
  logger_->Configure({file, 2});
  logger_->Log(2, ".\\common", "Module::PlatformConfig::GetQuery", 155, "%d: %s", 1034, "failed");
  logger_->Log(2, ".\\common", "Module::PlatformConfig::GetQuery", 155, "%d: %s", 1034, "again");
  logger_->Configure(saved_);  // closes the file

  std::ifstream in(file);
  std::string first, second, extra;
  ASSERT_TRUE(std::getline(in, first));
  ASSERT_TRUE(std::getline(in, second));
  EXPECT_FALSE(std::getline(in, extra));
  EXPECT_TRUE(std::regex_match(
      first, std::regex(R"(\S+Z 2 \.\\common Module::PlatformConfig::GetQuery 155 1034: failed)")))
      << first;
  EXPECT_NE(second.find("1034: again"), std::string::npos);
}

TEST(LogFormat, FieldsInOrder) {
  LogRecord r{"2026-11-22T19:48:05.123Z", 2, ".\\X", "N::F", 12, "1: text with blanks"};
  EXPECT_EQ(FormatLogRecord(r), "2026-11-22T19:48:05.123Z 2 .\\X N::F 12 1: text with blanks");
}

}  // namespace
