#include "Logger.h"

#include <cstdarg>
#include <vector>

#include "Settings.h"

namespace {

constexpr const char* kSection = "Logging";
constexpr int kDefaultLevel = 2;

LoggerSettings ReadLoggerSettings() {
  LoggerSettings s;
  s.file = Ordix::Settings::GetString(kSection, "File", "");
  s.level = static_cast<int>(Ordix::Settings::GetInt(kSection, "Level", kDefaultLevel));
  return s;
}

std::string FormatVarargs(const char* format, va_list args) {
  if (format == nullptr) return {};
  va_list sizing;
  va_copy(sizing, args);
  const int needed = std::vsnprintf(nullptr, 0, format, sizing);
  va_end(sizing);
  if (needed <= 0) return {};
  std::vector<char> buffer(static_cast<size_t>(needed) + 1);
  std::vsnprintf(buffer.data(), buffer.size(), format, args);
  return std::string(buffer.data(), static_cast<size_t>(needed));
}

std::string OneLine(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = ' ';
  }
  return text;
}

constexpr const char* kLogSource = "logging";
constexpr const char* kLogFunction = "Logger::CreateInstance";
constexpr int kLogLineSettings = 50;

// The process's logger: created on first use, destroyed with the process's other statics.
std::unique_ptr<Logger> gLogger;
std::once_flag gLoggerOnce;

}  // namespace

void Logger::FileCloser::operator()(std::FILE* f) const {
  if (f != nullptr) std::fclose(f);
}

Logger::Logger() : settings_(ReadLoggerSettings()) {}

Logger* Logger::CreateInstance() {
  bool created = false;
  std::call_once(gLoggerOnce, [&created] {
    gLogger.reset(new Logger());
    created = true;
  });
  // Said once, by the logger that the unreadable settings left writing to its default place:
  // otherwise every setting silently has its default.
  if (created) {
    if (const std::string problem = Ordix::Settings::Problem(); !problem.empty()) {
      gLogger->Log(kDefaultLevel, kLogSource, kLogFunction, kLogLineSettings, "%s",
                   problem.c_str());
    }
  }
  return gLogger.get();
}

void Logger::CreateMessage(std::string& out, const std::string& text) {
  out = OneLine(text);
}

void Logger::Log(int level, const char* source, const char* function, int line, const char* format,
                 ...) {
  va_list args;
  va_start(args, format);
  std::string text = FormatVarargs(format, args);
  va_end(args);

  LogRecord record;
  record.level = level;
  record.source = source != nullptr ? source : "";
  record.function = function != nullptr ? function : "";
  record.line = line;
  record.text = OneLine(std::move(text));
  Write(record);
}

void Logger::Write(const LogRecord& incoming) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (incoming.level > settings_.level) return;
  LogRecord record = incoming;
  record.time = LogTimestampNow();
  if (sink_) {
    sink_(record);
    return;
  }
  std::FILE* out = stderr;
  if (!settings_.file.empty() && !fileOpenFailed_) {
    if (!file_) {
      file_.reset(std::fopen(settings_.file.c_str(), "a"));
      // A log file that cannot be opened must not silence the log: fall back to stderr.
      fileOpenFailed_ = !file_;
    }
    if (file_) out = file_.get();
  }
  std::fprintf(out, "%s\n", FormatLogRecord(record).c_str());
  std::fflush(out);
}

void Logger::Configure(const LoggerSettings& settings) {
  std::lock_guard<std::mutex> lock(mutex_);
  settings_ = settings;
  file_.reset();
  fileOpenFailed_ = false;
}

LoggerSettings Logger::Settings() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return settings_;
}

Logger::Sink Logger::SetSink(Sink sink) {
  std::lock_guard<std::mutex> lock(mutex_);
  Sink previous = std::move(sink_);
  sink_ = std::move(sink);
  return previous;
}
