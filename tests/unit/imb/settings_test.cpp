// The [BMC] settings as the FreeIPMI library reads them: defaults, every value it takes, and a
// message naming the key for each it refuses.

#include <freeipmi/api/ipmi-api.h>
#include <freeipmi/spec/ipmi-authentication-type-spec.h>
#include <freeipmi/spec/ipmi-privilege-level-spec.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "bmc_settings.h"

namespace {

using namespace Ordix::Imb;
using Values = std::map<std::string, std::string>;

SettingsResult Parse(const Values& values) {
  return ParseBmcSettings([&values](const std::string& key) {
    const auto found = values.find(key);
    return found != values.end() ? found->second : std::string();
  });
}

TEST(BmcSettings, MissingKeysGiveTheDefaults) {
  const SettingsResult r = Parse({});
  ASSERT_TRUE(r.settings) << r.error;
  EXPECT_EQ(r.settings->interface, Interface::kInband);
  EXPECT_EQ(r.settings->device, "/dev/ipmi0");
  EXPECT_EQ(r.settings->authenticationType, IPMI_AUTHENTICATION_TYPE_MD5);
  EXPECT_EQ(r.settings->privilegeLevel, IPMI_PRIVILEGE_LEVEL_ADMIN);
  EXPECT_EQ(r.settings->cipherSuite, 3);
  EXPECT_EQ(r.settings->timeoutMs, 5000U);
  EXPECT_EQ(r.settings->workaroundFlags, 0U);

  const SettingsResult lan = Parse({{"Interface", "lan"}, {"Host", "bmc1"}});
  ASSERT_TRUE(lan.settings) << lan.error;
  EXPECT_EQ(lan.settings->host, "bmc1:623");
}

TEST(BmcSettings, ReadsEveryKey) {
  const SettingsResult r = Parse({{"Interface", " LanPlus "},
                                  {"Host", "127.0.0.1"},
                                  {"Port", "9623"},
                                  {"User", "admin"},
                                  {"Password", "se cret"},
                                  {"Privilege", "Operator"},
                                  {"CipherSuite", "17"},
                                  {"TimeoutMs", "300"},
                                  {"Workarounds", "opensesspriv, authcap"},
                                  {"Device", "/tmp/ipmi7"}});
  ASSERT_TRUE(r.settings) << r.error;
  EXPECT_EQ(r.settings->interface, Interface::kLanPlus);
  EXPECT_EQ(r.settings->host, "127.0.0.1:9623");
  EXPECT_EQ(r.settings->user, "admin");
  EXPECT_EQ(r.settings->password, "se cret");
  EXPECT_EQ(r.settings->privilegeLevel, IPMI_PRIVILEGE_LEVEL_OPERATOR);
  EXPECT_EQ(r.settings->cipherSuite, 17);
  EXPECT_EQ(r.settings->timeoutMs, 300U);
  EXPECT_EQ(r.settings->workaroundFlags,
            unsigned{IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE |
                     IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_AUTHENTICATION_CAPABILITIES});
  EXPECT_EQ(r.settings->device, "/tmp/ipmi7");

  const SettingsResult lan =
      Parse({{"Interface", "lan"}, {"Host", "h"}, {"AuthType", "none"}, {"Workarounds", "idzero"}});
  ASSERT_TRUE(lan.settings) << lan.error;
  EXPECT_EQ(lan.settings->authenticationType, IPMI_AUTHENTICATION_TYPE_NONE);
  EXPECT_EQ(lan.settings->workaroundFlags,
            unsigned{IPMI_WORKAROUND_FLAGS_OUTOFBAND_ACCEPT_SESSION_ID_ZERO});
}

TEST(BmcSettings, RefusedValuesNameTheirKey) {
  const Values lanplus = {{"Interface", "lanplus"}, {"Host", "h"}};
  const struct {
    std::string key, value, expected;
  } cases[] = {
      {"Interface", "serial", "[BMC] Interface = \"serial\" is not inband, lan or lanplus"},
      {"Port", "0", "[BMC] Port = \"0\""},
      {"Port", "65536", "[BMC] Port"},
      {"Port", "62x", "[BMC] Port"},
      {"TimeoutMs", "10", "[BMC] TimeoutMs"},
      {"TimeoutMs", "-5000", "[BMC] TimeoutMs"},
      {"CipherSuite", "256", "[BMC] CipherSuite"},
      {"AuthType", "sha1", "[BMC] AuthType = \"sha1\" is not one of none, md2, md5, password"},
      {"Privilege", "root", "[BMC] Privilege"},
      {"Workarounds", "opensesspriv idzero", "[BMC] Workarounds = \"idzero\""},
      {"Host", "", "[BMC] Host is required"},
  };
  for (const auto& c : cases) {
    Values values = lanplus;
    values[c.key] = c.value;
    const SettingsResult r = Parse(values);
    EXPECT_FALSE(r.settings) << c.key << "=" << c.value;
    EXPECT_NE(r.error.find(c.expected), std::string::npos) << r.error;
  }
}

TEST(BmcSettings, HostNamesCarryTheirPort) {
  EXPECT_EQ(HostWithPort("bmc.example", 623), "bmc.example:623");
  EXPECT_EQ(HostWithPort("bmc.example:7000", 623), "bmc.example:7000");
  EXPECT_EQ(HostWithPort("fe80::1", 623), "[fe80::1]:623");
  EXPECT_EQ(HostWithPort("[fe80::1]", 623), "[fe80::1]:623");
  EXPECT_EQ(HostWithPort("[fe80::1]:7000", 623), "[fe80::1]:7000");
}

// FreeIPMI refuses a retransmission timeout that is not below the session timeout, and its
// session timeout may be overrun by as much again, so both must stay well inside the bound.
TEST(BmcSettings, FreeIpmiTimeoutsStayWithinTheBound) {
  for (unsigned bound : {50U, 300U, 5000U, 600000U}) {
    const SessionTimeouts t = TimeoutsFor(bound);
    EXPECT_GT(t.retransmissionMs, 0U) << bound;
    EXPECT_LT(t.retransmissionMs, t.sessionMs) << bound;
    EXPECT_LE(2 * t.sessionMs, bound) << bound;
  }
}

}  // namespace
