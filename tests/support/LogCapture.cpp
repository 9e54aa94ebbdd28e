#include "LogCapture.h"

#include <cstdlib>

namespace TestSupport {

bool LoggedError::operator==(const LoggedError& other) const {
  return source == other.source && function == other.function && line == other.line &&
         code == other.code;
}

std::ostream& operator<<(std::ostream& out, const LoggedError& error) {
  return out << error.source << ' ' << error.function << ' ' << error.line << ' ' << error.code;
}

LogCapture::LogCapture() {
  previous_ = Logger::CreateInstance()->SetSink(
      [this](const LogRecord& record) { records_.push_back(record); });
}

LogCapture::~LogCapture() {
  Logger::CreateInstance()->SetSink(std::move(previous_));
}

std::vector<LoggedError> LogCapture::Errors() const {
  std::vector<LoggedError> errors;
  for (const LogRecord& record : records_) {
    const bool coded = record.text.find(": ") != std::string::npos;
    errors.push_back(
        {record.source, record.function, record.line, coded ? std::atoi(record.text.c_str()) : 0});
  }
  return errors;
}

}  // namespace TestSupport
