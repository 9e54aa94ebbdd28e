#include "LogCapture.h"

namespace TestSupport {

LogCapture::LogCapture() {
  previous_ = Logger::CreateInstance()->SetSink(
      [this](const LogRecord& record) { records_.push_back(record); });
}

LogCapture::~LogCapture() {
  Logger::CreateInstance()->SetSink(std::move(previous_));
}

}  // namespace TestSupport
