#include "BIOSConfigModule.h"

#include "Settings.h"
#include "answer_tree.h"
#include "smbios_cache.h"
#include "smbios_source.h"

namespace Module::BIOSConfig {

namespace {
constexpr const char* kSettingsSection = "SMBIOS";
constexpr const char* kImageKey = "Image";
}  // namespace

BIOSConfigModule::BIOSConfigModule() = default;
BIOSConfigModule::~BIOSConfigModule() = default;

// The settings are read on every query, so a newly configured image is used at once.
void BIOSConfigModule::ProcessXQuery(std::string query, ResultMap& answer) {
  const SourcePaths paths{Ordix::Settings::GetString(kSettingsSection, kImageKey, ""),
                          DefaultFirmwareLocation()};
  CopyAnswer(*AnswerTreeFor(paths), query, answer);
}

}  // namespace Module::BIOSConfig
