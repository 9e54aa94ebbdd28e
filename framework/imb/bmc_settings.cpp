#include "bmc_settings.h"

// The API header alone (for the workaround flags), not the umbrella: that also pulls in the LAN
// interface's socket headers, which the Windows build (scripted double only) does not have.
#include <freeipmi/api/ipmi-api.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <utility>
#include <vector>

#include "ipmi_numbers.h"

namespace Ordix::Imb {

namespace {

constexpr unsigned kDefaultPort = 623;
constexpr unsigned kDefaultTimeoutMs = 5000;
constexpr unsigned kMinTimeoutMs = 50;
constexpr unsigned kMaxTimeoutMs = 600000;
constexpr unsigned kMaxPort = 65535;
constexpr unsigned kMaxCipherSuite = 255;
constexpr const char* kNoWorkaround = "none";

template <typename T>
using Names = std::vector<std::pair<const char*, T>>;

const Names<uint8_t> kAuthenticationTypes = {
    {"none", Ipmi::kAuthNone},
    {"md2", Ipmi::kAuthMd2},
    {"md5", Ipmi::kAuthMd5},
    {"password", Ipmi::kAuthStraightPassword},
};

const Names<uint8_t> kPrivilegeLevels = {
    {"callback", Ipmi::kPrivilegeCallback}, {"user", Ipmi::kPrivilegeUser},
    {"operator", Ipmi::kPrivilegeOperator}, {"admin", Ipmi::kPrivilegeAdmin},
    {"oem", Ipmi::kPrivilegeOem},
};

// The names FreeIPMI's own tools give these workarounds, so a setting found to work with them
// can be copied here.
const Names<unsigned> kLanWorkarounds = {
    {"authcap", IPMI_WORKAROUND_FLAGS_OUTOFBAND_AUTHENTICATION_CAPABILITIES},
    {"idzero", IPMI_WORKAROUND_FLAGS_OUTOFBAND_ACCEPT_SESSION_ID_ZERO},
    {"forcepermsg", IPMI_WORKAROUND_FLAGS_OUTOFBAND_FORCE_PERMSG_AUTHENTICATION},
    {"unexpectedauth", IPMI_WORKAROUND_FLAGS_OUTOFBAND_CHECK_UNEXPECTED_AUTHCODE},
    {"endianseq", IPMI_WORKAROUND_FLAGS_OUTOFBAND_BIG_ENDIAN_SEQUENCE_NUMBER},
    {"noauthcodecheck", IPMI_WORKAROUND_FLAGS_OUTOFBAND_NO_AUTH_CODE_CHECK},
    {"nochecksumcheck", IPMI_WORKAROUND_FLAGS_OUTOFBAND_NO_CHECKSUM_CHECK},
};

const Names<unsigned> kLanPlusWorkarounds = {
    {"authcap", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_AUTHENTICATION_CAPABILITIES},
    {"intel20", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_INTEL_2_0_SESSION},
    {"supermicro20", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUPERMICRO_2_0_SESSION},
    {"sun20", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUN_2_0_SESSION},
    {"opensesspriv", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE},
    {"integritycheckvalue", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_NON_EMPTY_INTEGRITY_CHECK_VALUE},
    {"nochecksumcheck", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_NO_CHECKSUM_CHECK},
};

std::string Lower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

std::string_view Trim(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

template <typename T>
std::optional<T> Lookup(const Names<T>& names, std::string_view text) {
  const std::string wanted = Lower(text);
  for (const auto& [name, value] : names) {
    if (wanted == name) return value;
  }
  return std::nullopt;
}

template <typename T>
std::string Choices(const Names<T>& names) {
  std::string out;
  for (const auto& entry : names) out += (out.empty() ? "" : ", ") + std::string(entry.first);
  return out;
}

// Whole decimal numbers in [low, high]; a sign, a fraction or trailing text is refused.
std::optional<unsigned> ParseBounded(std::string_view text, unsigned low, unsigned high) {
  unsigned value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (value < low || value > high) return std::nullopt;
  return value;
}

class Reader {
 public:
  explicit Reader(const SettingLookup& lookup) : lookup_(lookup) {}

  std::string Text(const char* key) const { return std::string(Trim(lookup_(key))); }

  template <typename T>
  bool Name(const char* key, const Names<T>& names, T& out) {
    const std::string text = Text(key);
    if (text.empty()) return true;
    if (const auto value = Lookup(names, text)) {
      out = *value;
      return true;
    }
    return Fail(key, text, "one of " + Choices(names));
  }

  bool Number(const char* key, unsigned low, unsigned high, unsigned& out) {
    const std::string text = Text(key);
    if (text.empty()) return true;
    if (const auto value = ParseBounded(text, low, high)) {
      out = *value;
      return true;
    }
    return Fail(key, text,
                "a whole number from " + std::to_string(low) + " to " + std::to_string(high));
  }

  // Names separated by blanks or commas; "none" alone is no flag, but still a choice.
  bool Flags(const char* key, const Names<unsigned>& names, unsigned& out, bool& given) {
    std::string text = Text(key);
    given = !text.empty();
    if (Lower(text) == kNoWorkaround) return true;
    std::replace(text.begin(), text.end(), ',', ' ');
    std::string_view rest = text;
    while (!(rest = Trim(rest)).empty()) {
      const size_t end = std::min(rest.find_first_of(" \t"), rest.size());
      const std::string_view word = rest.substr(0, end);
      rest.remove_prefix(end);
      const auto flag = Lookup(names, word);
      if (!flag)
        return Fail(key, std::string(word),
                    std::string(kNoWorkaround) + " or among " + Choices(names));
      out |= *flag;
    }
    return true;
  }

  bool Fail(const char* key, const std::string& text, const std::string& expected) {
    error = "[BMC] " + std::string(key) + " = \"" + text + "\" is not " + expected;
    return false;
  }

  std::string error;

 private:
  const SettingLookup& lookup_;
};

}  // namespace

std::optional<Interface> ParseInterface(std::string_view name) {
  static const Names<Interface> kInterfaces = {
      {"inband", Interface::kInband}, {"lan", Interface::kLan}, {"lanplus", Interface::kLanPlus}};
  return Lookup(kInterfaces, Trim(name));
}

std::string HostWithPort(const std::string& host, unsigned port) {
  const std::string suffix = ":" + std::to_string(port);
  if (!host.empty() && host.front() == '[') {
    return host.find("]:") != std::string::npos ? host : host + suffix;
  }
  const auto colons = std::count(host.begin(), host.end(), ':');
  if (colons == 1) return host;                      // already "name:port"
  if (colons > 1) return "[" + host + "]" + suffix;  // a bare IPv6 address
  return host + suffix;
}

std::string WorkaroundNames(Interface interface, unsigned flags) {
  std::string out;
  if (interface == Interface::kInband) return out;
  for (const auto& [name, flag] :
       interface == Interface::kLan ? kLanWorkarounds : kLanPlusWorkarounds) {
    if ((flags & flag) != 0) out += (out.empty() ? "" : " ") + std::string(name);
  }
  return out;
}

template <typename T>
std::string NameOf(const Names<T>& names, T value) {
  for (const auto& [name, v] : names) {
    if (v == value) return name;
  }
  return std::to_string(unsigned{value});
}

std::string PrivilegeName(uint8_t level) {
  return NameOf(kPrivilegeLevels, level);
}

std::string AuthenticationTypeName(uint8_t type) {
  return NameOf(kAuthenticationTypes, type);
}

SettingsResult ParseBmcSettings(const SettingLookup& lookup) {
  Reader read(lookup);
  BmcSettings s;
  s.authenticationType = Ipmi::kAuthMd5;
  s.privilegeLevel = Ipmi::kPrivilegeAdmin;
  unsigned port = kDefaultPort;
  unsigned cipherSuite = s.cipherSuite;
  unsigned timeout = kDefaultTimeoutMs;

  const std::string interfaceText = read.Text("Interface");
  if (!interfaceText.empty()) {
    const auto chosen = ParseInterface(interfaceText);
    if (!chosen) {
      read.Fail("Interface", interfaceText, "inband, lan or lanplus");
      return {std::nullopt, read.error};
    }
    s.interface = *chosen;
  }
  const bool ok =
      read.Name("AuthType", kAuthenticationTypes, s.authenticationType) &&
      read.Name("Privilege", kPrivilegeLevels, s.privilegeLevel) &&
      read.Number("Port", 1, kMaxPort, port) &&
      read.Number("CipherSuite", 0, kMaxCipherSuite, cipherSuite) &&
      read.Number("TimeoutMs", kMinTimeoutMs, kMaxTimeoutMs, timeout) &&
      (s.interface == Interface::kInband ||
       read.Flags("Workarounds",
                  s.interface == Interface::kLan ? kLanWorkarounds : kLanPlusWorkarounds,
                  s.workaroundFlags, s.workaroundsForced));
  if (!ok) return {std::nullopt, read.error};

  s.cipherSuite = static_cast<uint8_t>(cipherSuite);
  s.timeoutMs = timeout;
  s.user = read.Text("User");
  s.password = lookup("Password");  // blanks may belong to a password
  const std::string device = read.Text("Device");
  if (!device.empty()) s.device = device;
  const std::string host = read.Text("Host");
  if (s.interface != Interface::kInband) {
    if (host.empty()) return {std::nullopt, "[BMC] Host is required for a LAN interface"};
    s.host = HostWithPort(host, port);
  }
  return {s, {}};
}

}  // namespace Ordix::Imb
