#pragma once
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "logging_export.h"

// One record as written: a line of UTC time, level, source, function, line and text.
struct LogRecord {
  std::string time;  // "2026-11-22T19:48:05.123Z"
  int level = 0;
  std::string source;
  std::string function;
  int line = 0;
  std::string text;
};

// Where records go and which are kept. Read from the settings file's [Logging] section
// ("File", "Level") when the logger is first created.
struct LoggerSettings {
  std::string file;  // empty: standard error
  int level = 2;     // highest level written
};

// The framework's logger. Sites name themselves with fixed source, function and line values
// (not __FILE__/__LINE__) so that a log reads the same in every build.
class LOGGING_EXPORT Logger {
 public:
  using Sink = std::function<void(const LogRecord&)>;

  static Logger* CreateInstance();

  // Makes text fit one log line: line breaks and other control characters become blanks.
  void CreateMessage(std::string& out, const std::string& text);

  // Writes one record when level is not above the configured level.
  void Log(int level, const char* source, const char* function, int line, const char* format, ...)
      __attribute__((format(printf, 6, 7)));

  // Replaces the destination and level; the file is opened (for appending) at the next record.
  void Configure(const LoggerSettings& settings);
  LoggerSettings Settings() const;

  // Sends records to sink instead of the destination (an empty sink restores it); returns the
  // previous sink. Records above the configured level are not delivered.
  Sink SetSink(Sink sink);

 private:
  struct FileCloser {
    void operator()(std::FILE* f) const;
  };

  Logger();
  void Write(const LogRecord& record);

  mutable std::mutex mutex_;
  LoggerSettings settings_;
  std::unique_ptr<std::FILE, FileCloser> file_;
  bool fileOpenFailed_ = false;
  Sink sink_;
};

// Formats a record as its log line (without the line break).
LOGGING_EXPORT std::string FormatLogRecord(const LogRecord& record);

// The current UTC time in the log's format.
LOGGING_EXPORT std::string LogTimestampNow();
