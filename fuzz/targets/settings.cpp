// The settings file: any text parsed as the Linux reader parses it, every key the module and
// the framework read looked up in it, and the [BMC] section read into a session's settings as
// the driver library reads it.

#include <cstdint>
#include <string>

#include "FuzzInput.h"
#include "bmc_settings.h"
#include "settings_values.h"

namespace {

using Ordix::Settings::SettingsValues;

struct Key {
  const char* section;
  const char* key;
};

// What the module and the framework's libraries read, besides [BMC] (read below).
constexpr Key kStrings[] = {
    {"SMBIOS", "Image"}, {"SMI", "VariablesDir"}, {"Logging", "File"}, {"BMC", "SimScript"}};
constexpr Key kIntegers[] = {
    {"Logging", "Level"}, {"BMC", "TimeoutMs"}, {"MSRObjectTimeouts", "PollInterval"}};

// Two fallbacks no settings text can hold as a value: inih trims blanks from both ends.
constexpr const char* kFallback = " ";
constexpr const char* kOtherFallback = "  ";
constexpr long kIntFallback = -7;
constexpr long kOtherIntFallback = 7;

void LookUp(const SettingsValues& values) {
  for (const Key& k : kStrings) {
    const std::string value = values.GetString(k.section, k.key, kFallback);
    const std::string again = values.GetString(k.section, k.key, kOtherFallback);
    Fuzz::Require(value == again || (value == kFallback && again == kOtherFallback),
                  "a key that is there answers the same whatever the fallback");
  }
  for (const Key& k : kIntegers) {
    const long value = values.GetInt(k.section, k.key, kIntFallback);
    const long again = values.GetInt(k.section, k.key, kOtherIntFallback);
    const bool missing = values.GetString(k.section, k.key, kFallback) == kFallback;
    Fuzz::Require(!missing || (value == kIntFallback && again == kOtherIntFallback),
                  "a missing integer is its fallback");
  }
}

void ReadBmcSection(const SettingsValues& values) {
  const Ordix::Imb::SettingsResult result = Ordix::Imb::ParseBmcSettings(
      [&](const std::string& key) { return values.GetString(Ordix::Imb::kSection, key, ""); });
  Fuzz::Require(result.settings.has_value() == result.error.empty(),
                "BMC settings are read, or an error says why not");
  if (result.settings && result.settings->interface != Ordix::Imb::Interface::kInband) {
    Fuzz::Require(!result.settings->host.empty(), "a LAN interface has a host");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const SettingsValues values(std::string(reinterpret_cast<const char*>(data), size));
  LookUp(values);
  ReadBmcSection(values);
  return 0;
}
