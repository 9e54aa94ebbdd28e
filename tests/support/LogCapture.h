#pragma once
#include <ostream>
#include <string>
#include <vector>

#include "Logger.h"

namespace TestSupport {

// An error as the module's sites log it: the fixed site, and the code its text starts with
// ("1031: ...").
struct LoggedError {
  std::string source;
  std::string function;
  int line = 0;
  int code = 0;
  bool operator==(const LoggedError& other) const;
};
std::ostream& operator<<(std::ostream& out, const LoggedError& error);

// Collects the framework logger's records while it lives; the previous sink comes back after.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<LogRecord>& Records() const { return records_; }
  // The records so far as sites and codes (code 0 for a text that starts with none).
  std::vector<LoggedError> Errors() const;

 private:
  std::vector<LogRecord> records_;
  Logger::Sink previous_;
};

}  // namespace TestSupport
