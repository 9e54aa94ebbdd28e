#include "FailureCount.h"

#include <algorithm>
#include <cctype>

namespace Exporter {

namespace {

constexpr const char* kCounterName = "platform_failed_readings_total";
constexpr const char* kCounterHelp =
    "Failed readings by error code: the module's codes as it logs them, and the framework's as "
    "its modules raise them to the exporter.";
constexpr int kErrorLevel = 2;  // the level every error record is logged at
constexpr size_t kMaxCodeDigits = 5;
constexpr unsigned long kMaxCode = 65535;

}  // namespace

std::optional<uint16_t> ErrorCodeOf(const std::string& text) {
  size_t digits = 0;
  while (digits < text.size() && std::isdigit(static_cast<unsigned char>(text[digits]))) ++digits;
  if (digits == 0 || digits > kMaxCodeDigits || text.compare(digits, 2, ": ") != 0) {
    return std::nullopt;
  }
  const unsigned long code = std::stoul(text.substr(0, digits));
  if (code > kMaxCode) return std::nullopt;
  return static_cast<uint16_t>(code);
}

FailureCounter::FailureCounter(prometheus::Registry& registry)
    : family_(prometheus::BuildCounter().Name(kCounterName).Help(kCounterHelp).Register(registry)) {
}

void FailureCounter::Count(uint16_t code) {
  family_.Add({{"code", std::to_string(code)}}).Increment();
  std::lock_guard<std::mutex> lock(mutex_);
  ++counts_[code];
}

std::map<uint16_t, uint64_t> FailureCounter::Counts() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return counts_;
}

void LogTap::FileCloser::operator()(std::FILE* f) const {
  if (f != nullptr) std::fclose(f);
}

LogTap::LogTap(FailureCounter& counter) : counter_(counter) {
  Logger* logger = Logger::CreateInstance();
  settings_ = logger->Settings();
  LoggerSettings counting = settings_;
  counting.level = std::max(settings_.level, kErrorLevel);
  logger->Configure(counting);
  previous_ = logger->SetSink([this](const LogRecord& record) { Take(record); });
}

LogTap::~LogTap() {
  Logger* logger = Logger::CreateInstance();
  logger->SetSink(std::move(previous_));
  logger->Configure(settings_);
}

// Runs under the logger's lock: it must not log.
void LogTap::Take(const LogRecord& record) {
  if (record.level <= kErrorLevel) {
    if (const auto code = ErrorCodeOf(record.text)) counter_.Count(*code);
  }
  if (record.level > settings_.level) return;
  std::FILE* out = stderr;
  if (!settings_.file.empty() && !fileFailed_) {
    if (!file_) file_.reset(std::fopen(settings_.file.c_str(), "a"));
    // A log file that cannot be opened must not silence the log: it goes to standard error.
    fileFailed_ = !file_;
    if (file_) out = file_.get();
  }
  std::fprintf(out, "%s\n", FormatLogRecord(record).c_str());
  std::fflush(out);
}

}  // namespace Exporter
