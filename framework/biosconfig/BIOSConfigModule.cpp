#include "BIOSConfigModule.h"

#include <mutex>
#include <utility>

#include "QueryScope.h"
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
}  // namespace

BIOSConfigModule::BIOSConfigModule() = default;
BIOSConfigModule::~BIOSConfigModule() = default;

// The settings are read on every query, so a newly configured image is used at once.
void BIOSConfigModule::ProcessXQuery(std::string query, ResultMap& answer) {
  // One query of its own when a host asks directly; part of the caller's otherwise.
  const QueryScope scope;
  AnswerSource source;
  {
    std::lock_guard<std::mutex> lock(gSourceMutex);
    source = gSource;
  }
  if (source) {
    source(query, answer);
    return;
  }
  const SourcePaths paths{Ordix::Settings::GetString(kSettingsSection, kImageKey, ""),
                          DefaultFirmwareLocation()};
  CopyAnswer(*AnswerTreeFor(paths), query, answer);
}

BIOSConfigModule::AnswerSource BIOSConfigModule::InstallAnswerSource(AnswerSource source) {
  std::lock_guard<std::mutex> lock(gSourceMutex);
  return std::exchange(gSource, std::move(source));
}

}  // namespace Module::BIOSConfig
