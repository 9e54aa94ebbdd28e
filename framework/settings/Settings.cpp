#include "Settings.h"

#include <sys/stat.h>
#include <time.h>

#include <memory>
#include <mutex>

#include "QueryScope.h"
#include "settings_file.h"
#include "settings_values.h"

namespace Ordix::Settings {

namespace {

// What the file's metadata said: one stat per reading is all a cached file costs.
struct Stamp {
  bool exists = false;
  long long writtenNs = 0;
  long long size = 0;
  bool operator==(const Stamp& o) const {
    return exists == o.exists && writtenNs == o.writtenNs && size == o.size;
  }
};

long long Nanoseconds(const timespec& t) {
  return t.tv_sec * 1000000000LL + t.tv_nsec;
}

Stamp StampOf(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return {};
  return {true, Nanoseconds(info.st_mtim), static_cast<long long>(info.st_size)};
}

// The last file parsed. Readers ask for settings hundreds of times per inventory, so the file
// is parsed again only when it is another file or its stamp has changed; a changed setting
// still takes effect at the next reading.
struct Parsed {
  std::string path;
  Stamp stamp;
  long long parsedAtNs = 0;
  std::shared_ptr<const SettingsValues> values;
  std::string problem;
};

// File times tick coarsely (up to 10 ms), so a file rewritten with the same size just
// after it was parsed can keep its stamp: a file written this close to its parsing is never
// trusted to be unchanged.
constexpr long long kRacyWindowNs = 20000000LL;  // twice the coarsest tick (HZ=100)

std::mutex gParsedMutex;
Parsed gParsed;

// The query (QueryScope) of this thread that has already looked at the file: its later
// readings take the file as that look found it, so a query costs one look at the file however
// many settings it reads, and the next query looks again.
thread_local uint64_t tQueryLookedAt = 0;

// The file as last parsed, parsed again first if it has changed.
const Parsed& Current() {
  const std::string path = FilePath();
  const uint64_t query = QueryScope::Current().generation;
  if (query != 0 && query == tQueryLookedAt && gParsed.values && gParsed.path == path) {
    return gParsed;
  }
  tQueryLookedAt = query;
  const Stamp stamp = StampOf(path);
  const bool settled = !stamp.exists || stamp.writtenNs + kRacyWindowNs < gParsed.parsedAtNs;
  if (gParsed.values && gParsed.path == path && gParsed.stamp == stamp && settled) {
    return gParsed;
  }
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  SettingsText file = ReadSettingsText(path);
  // A file that is missing or cannot be read gives every default.
  gParsed = Parsed{path, stamp, Nanoseconds(now), std::make_shared<const SettingsValues>(file.text),
                   file.state == SettingsText::State::kUnreadable
                       ? "the settings file " + path + " cannot be read (" + file.problem +
                             "); every setting has its default"
                       : std::string()};
  return gParsed;
}

std::shared_ptr<const SettingsValues> Values() {
  std::lock_guard<std::mutex> lock(gParsedMutex);
  return Current().values;
}

}  // namespace

std::string FilePath() {
  return Directory() + "/" + kFileName;
}

std::string GetString(const std::string& section, const std::string& key,
                      const std::string& fallback) {
  return Values()->GetString(section, key, fallback);
}

long GetInt(const std::string& section, const std::string& key, long fallback) {
  return Values()->GetInt(section, key, fallback);
}

std::string Problem() {
  std::lock_guard<std::mutex> lock(gParsedMutex);
  return Current().problem;
}

}  // namespace Ordix::Settings
