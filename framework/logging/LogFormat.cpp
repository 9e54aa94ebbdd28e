#include <chrono>
#include <cstdio>
#include <ctime>

#include "Logger.h"

std::string FormatLogRecord(const LogRecord& r) {
  return r.time + " " + std::to_string(r.level) + " " + r.source + " " + r.function + " " +
         std::to_string(r.line) + " " + r.text;
}

std::string LogTimestampNow() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  const auto millis = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm utc{};
  // gmtime_r/gmtime_s differ by OS; the C++17 library offers neither portably, and gmtime's
  // static buffer is only touched under the logger's lock.
  utc = *std::gmtime(&seconds);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                static_cast<int>(millis));
  return text;
}
