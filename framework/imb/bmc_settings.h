#pragma once
// The [BMC] section of the settings file, read into the values a FreeIPMI session opens with.
// Pure: the caller supplies the raw texts, so every rule is checked without a settings file.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace Ordix::Imb {

inline constexpr const char* kSection = "BMC";

enum class Interface { kInband, kLan, kLanPlus };

struct BmcSettings {
  Interface interface = Interface::kInband;
  std::string device = "/dev/ipmi0";
  std::string host;  // with the port, as FreeIPMI takes it: "name:port", "[v6-address]:port"
  std::string user;
  std::string password;
  uint8_t authenticationType = 0;  // FreeIPMI's IPMI_AUTHENTICATION_TYPE_* value
  uint8_t privilegeLevel = 0;      // FreeIPMI's IPMI_PRIVILEGE_LEVEL_* value
  uint8_t cipherSuite = 3;
  unsigned timeoutMs = 5000;
  unsigned workaroundFlags = 0;  // IPMI_WORKAROUND_FLAGS_OUTOFBAND(_2_0)_* for the interface
  // Workarounds was set (to "none" for no workaround at all): the flags are used as they are and
  // no other workaround is tried when a session cannot be opened.
  bool workaroundsForced = false;
};

struct SettingsResult {
  std::optional<BmcSettings> settings;
  std::string error;  // why there are no settings, naming the key
};

// The text of one [BMC] key; empty when the key is missing (the default applies).
using SettingLookup = std::function<std::string(const std::string& key)>;

SettingsResult ParseBmcSettings(const SettingLookup& lookup);

// "inband", "lan", "lanplus" in any case.
std::optional<Interface> ParseInterface(std::string_view name);

// host and port as one FreeIPMI host name. A host that already names its port ("name:port",
// "[v6-address]:port") keeps it; a bare IPv6 address goes in brackets.
std::string HostWithPort(const std::string& host, unsigned port);

// The Workarounds names of flags for the interface, separated by blanks ("opensesspriv").
std::string WorkaroundNames(Interface interface, unsigned flags);

// The settings' names of a privilege level and an authentication type ("admin", "md5").
std::string PrivilegeName(uint8_t level);
std::string AuthenticationTypeName(uint8_t type);

}  // namespace Ordix::Imb
