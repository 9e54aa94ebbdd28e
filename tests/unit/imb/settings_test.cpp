// The [BMC] settings as the FreeIPMI library reads them.
#include <freeipmi/freeipmi.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <tuple>

#include "bmc_settings.h"

namespace {

using namespace Ordix::Imb;

// From "Key=value;Key=value"; keys not given read as empty, as missing settings do.
SettingsResult Parse(const std::string& text) {
  std::map<std::string, std::string> values;
  std::istringstream in(text);
  for (std::string item; std::getline(in, item, ';');) {
    values[item.substr(0, item.find('='))] = item.substr(item.find('=') + 1);
  }
  return ParseBmcSettings([&values](const std::string& key) { return values[key]; });
}

auto Fields(const SettingsResult& r) {
  EXPECT_TRUE(r.settings) << r.error;
  const BmcSettings s = r.settings.value_or(BmcSettings{});
  return std::make_tuple(s.interface, s.host, s.user, s.password, s.device, s.authenticationType,
                         s.privilegeLevel, s.cipherSuite, s.timeoutMs, s.workaroundFlags);
}

// Workarounds set, even to "none", is a choice the driver keeps to; unset, it tries its own.
TEST(BmcSettings, WorkaroundsNamedOrNoneAreForced) {
  const std::tuple<const char*, unsigned, bool> cases[] = {
      {"", 0U, false},
      {"Workarounds=None", 0U, true},
      {"Workarounds=intel20,sun20",
       unsigned{IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_INTEL_2_0_SESSION |
                IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUN_2_0_SESSION},
       true},
  };
  for (const auto& [setting, flags, forced] : cases) {
    const SettingsResult r = Parse(std::string("Interface=lanplus;Host=h;") + setting);
    ASSERT_TRUE(r.settings) << setting << ": " << r.error;
    EXPECT_EQ(r.settings->workaroundFlags, flags) << setting;
    EXPECT_EQ(r.settings->workaroundsForced, forced) << setting;
  }
  // Names as the setting takes them, for the interface whose flags they are.
  EXPECT_EQ(WorkaroundNames(Interface::kLanPlus, std::get<1>(cases[2])), "intel20 sun20");
  EXPECT_EQ(WorkaroundNames(Interface::kLan, IPMI_WORKAROUND_FLAGS_OUTOFBAND_NO_CHECKSUM_CHECK),
            "nochecksumcheck");
}

TEST(BmcSettings, DefaultsAndEveryKeyAreRead) {
  EXPECT_EQ(Fields(Parse("")), std::make_tuple(Interface::kInband, "", "", "", "/dev/ipmi0",
                                               IPMI_AUTHENTICATION_TYPE_MD5,
                                               IPMI_PRIVILEGE_LEVEL_ADMIN, 3, 5000U, 0U));
  EXPECT_EQ(
      Fields(Parse("Interface= LanPlus ;Host=127.0.0.1;Port=9623;User=admin;"
                   "Password=se cret;Privilege=Operator;CipherSuite=17;TimeoutMs=300;"
                   "Device=/tmp/ipmi7;Workarounds=opensesspriv, authcap;AuthType=none")),
      std::make_tuple(Interface::kLanPlus, "127.0.0.1:9623", "admin", "se cret", "/tmp/ipmi7",
                      IPMI_AUTHENTICATION_TYPE_NONE, IPMI_PRIVILEGE_LEVEL_OPERATOR, 17, 300U,
                      unsigned{IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE |
                               IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_AUTHENTICATION_CAPABILITIES}));
}

// Each case adds to a valid lanplus setting: the host it gives, or an error naming the key.
TEST(BmcSettings, ValuesAreTakenOrRefusedByName) {
  const std::pair<const char*, std::string> cases[] = {
      {"Host=bmc.example:7000", "bmc.example:7000"},
      {"Host=fe80::1", "[fe80::1]:623"},
      {"Host=[fe80::1]", "[fe80::1]:623"},
      {"Host=[fe80::1]:7000", "[fe80::1]:7000"},
      {"Interface=serial", "[BMC] Interface = \"serial\" is not inband, lan or lanplus"},
      {"Port=0", "[BMC] Port = \"0\""},
      {"Port=65536", "[BMC] Port"},
      {"Port=62x", "[BMC] Port"},
      {"TimeoutMs=10", "[BMC] TimeoutMs"},
      {"TimeoutMs=-5000", "[BMC] TimeoutMs"},
      {"CipherSuite=256", "[BMC] CipherSuite"},
      {"AuthType=sha1", "[BMC] AuthType = \"sha1\" is not one of none, md2, md5, password"},
      {"Privilege=root", "[BMC] Privilege"},
      {"Workarounds=opensesspriv idzero", "[BMC] Workarounds = \"idzero\""},
      {"Workarounds=none opensesspriv", "[BMC] Workarounds = \"none\""},
      {"Host=", "[BMC] Host is required"},
  };
  for (const auto& [setting, expected] : cases) {
    const SettingsResult r = Parse(std::string("Interface=lanplus;Host=h;") + setting);
    if (expected.rfind("[BMC]", 0) == 0) {
      EXPECT_NE(r.error.find(expected), std::string::npos) << setting << ": " << r.error;
    } else {
      EXPECT_EQ(std::get<1>(Fields(r)), expected) << setting;
    }
    EXPECT_EQ(r.settings.has_value(), expected.rfind("[BMC]", 0) != 0) << setting;
  }
}

}  // namespace
