#include "BIOSConfigModule.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "QueryScope.h"
#include "ResultStatus.h"
#include "Settings.h"
#include "answer_tree.h"
#include "smbios_cache.h"
#include "smbios_source.h"

namespace Module::BIOSConfig {

namespace {
constexpr const char* kSettingsSection = "SMBIOS";
constexpr const char* kImageKey = "Image";
std::mutex gSourceMutex;
BIOSConfigModule::AnswerSource gSource;
// Whether gSource is set, so that a lookup takes the lock only when a source is installed.
std::atomic<bool> gHasSource{false};

// The tables a query answers from, or why it has none: which source the settings name, and
// whether the image is there, is found out once per query.
struct QueryTables {
  std::shared_ptr<const AnswerTree> tree;
  std::optional<ResultStatus> error;
};
thread_local PerQuery<QueryTables> tQueryTables;

QueryTables FindTables() {
  const SourcePaths paths{Ordix::Settings::GetString(kSettingsSection, kImageKey, ""),
                          DefaultFirmwareLocation()};
  try {
    return {AnswerTreeFor(paths), std::nullopt};
  } catch (const ResultStatus& status) {
    return {nullptr, status};
  }
}

// Within a query (there is always one: every call opens its scope).
const AnswerTree& TablesOfThisQuery() {
  const QueryTables* tables = tQueryTables.Get(FindTables);
  if (tables->error) throw *tables->error;
  return *tables->tree;
}

}  // namespace

BIOSConfigModule::BIOSConfigModule() = default;
BIOSConfigModule::~BIOSConfigModule() = default;

// The settings are read once per query, so a newly configured image is used at the next one.
void BIOSConfigModule::ProcessXQuery(std::string query, ResultMap& answer) {
  // One query of its own when a host asks directly; part of the caller's otherwise.
  const QueryScope scope;
  if (gHasSource.load(std::memory_order_acquire)) {
    AnswerSource source;
    {
      std::lock_guard<std::mutex> lock(gSourceMutex);
      source = gSource;
    }
    if (source) {
      source(query, answer);
      return;
    }
  }
  CopyAnswer(TablesOfThisQuery(), query, answer);
}

std::string BIOSConfigModule::FirstValue(const std::string& path) {
  const QueryScope scope;
  // A path that is not written plainly, or an installed source, is answered as a query.
  if (gHasSource.load(std::memory_order_acquire) || !IsPlainPath(path)) {
    ResultMap local;
    ProcessXQuery(path, local);
    auto it = local.find(path);
    if (it == local.end() || it->second.list.empty()) return std::string();
    return std::move(it->second.list.front());
  }
  const AnswerTree& tables = TablesOfThisQuery();
  auto it = tables.Find(path);
  if (it == tables.Nodes().end() || it->second.list.empty()) return std::string();
  return it->second.list.front();
}

BIOSConfigModule::AnswerSource BIOSConfigModule::InstallAnswerSource(AnswerSource source) {
  std::lock_guard<std::mutex> lock(gSourceMutex);
  gHasSource.store(static_cast<bool>(source), std::memory_order_release);
  return std::exchange(gSource, std::move(source));
}

}  // namespace Module::BIOSConfig
