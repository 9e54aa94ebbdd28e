#pragma once
// The count of failed readings by error code. The module reports each failure as a log record
// ("1036: The state of a memory module could not be read."), some of them also as a thrown
// ResultStatus; the framework's modules only throw theirs. Records are counted as they are
// logged, and a status thrown to the exporter is counted unless its code was logged meanwhile.

#include <prometheus/counter.h>
#include <prometheus/family.h>
#include <prometheus/registry.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Logger.h"

namespace Exporter {

// The error code a log text starts with ("1036: ..." -> 1036), or nothing.
std::optional<uint16_t> ErrorCodeOf(const std::string& text);

class FailureCounter {
 public:
  // Adds the counter family to registry, which must outlive the counter.
  explicit FailureCounter(prometheus::Registry& registry);

  // Safe from any thread.
  void Count(uint16_t code);

  // How many failures of each code have been counted so far.
  std::map<uint16_t, uint64_t> Counts() const;

 private:
  prometheus::Family<prometheus::Counter>& family_;
  mutable std::mutex mutex_;
  std::map<uint16_t, uint64_t> counts_;
};

// Counts the framework logger's error records while it lives, and still writes every record the
// settings ask for where they ask (the file of [Logging] File, else standard error). The logger
// drops records above its level before anyone sees them, so the tap raises the level to the
// errors' while it lives and does the filtering itself.
class LogTap {
 public:
  explicit LogTap(FailureCounter& counter);
  ~LogTap();
  LogTap(const LogTap&) = delete;
  LogTap& operator=(const LogTap&) = delete;

 private:
  struct FileCloser {
    void operator()(std::FILE* f) const;
  };

  void Take(const LogRecord& record);

  FailureCounter& counter_;
  LoggerSettings settings_;
  std::unique_ptr<std::FILE, FileCloser> file_;
  bool fileFailed_ = false;
  Logger::Sink previous_;
};

}  // namespace Exporter
