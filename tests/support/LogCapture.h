#pragma once
#include <vector>

#include "Logger.h"

namespace TestSupport {

// Collects the framework logger's records while it lives; the previous sink comes back after.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<LogRecord>& Records() const { return records_; }

 private:
  std::vector<LogRecord> records_;
  Logger::Sink previous_;
};

}  // namespace TestSupport
