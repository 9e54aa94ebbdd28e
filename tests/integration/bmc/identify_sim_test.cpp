// The module's own IPMI channel and platform identification against a simulated server,
// run through sim/run: what the channel reads must be what ipmitool reads from the same BMC.

#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

#include "PlatformImpl.h"
#include "ResultStatus.h"

namespace {

std::string Env(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// ipmitool's reply bytes to a raw request, as lower-case hex without leading zeros.
std::vector<std::string> IpmitoolRaw(const std::string& request) {
  const std::string command = "ipmitool -I lanplus -C 3 -H 127.0.0.1 -p " +
                              Env("ORDIX_SIM_BMC_PORT") + " -U " + Env("ORDIX_SIM_BMC_USER") +
                              " -P " + Env("ORDIX_SIM_BMC_PASSWORD") + " raw " + request;
  std::string output;
  if (FILE* pipe = ::popen(command.c_str(), "r")) {
    char buffer[512];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, n);
    ::pclose(pipe);
  }
  std::vector<std::string> bytes;
  std::istringstream in(output);
  for (std::string hex; in >> hex;) {
    std::ostringstream text;
    text << std::hex << std::stoul(hex, nullptr, 16);
    bytes.push_back(text.str());
  }
  return bytes;
}

// The family each profile's board identifier or BMC product ID stands for.
const std::map<std::string, std::string> kExpectedFamily = {
    {"dual-socket-16dimm", "KARVO_PLATFORM"},   // board table: R7100QTN
    {"quad-socket-boards", "TESKAR_PLATFORM"},  // board table: "Blank FRU"
    {"empty-first-socket", "ZORVEL_PLATFORM"},  // unknown board, product ID 003Eh
    {"two-arrays-mismatch", "ROPHIN_PLATFORM"},  // unknown board, product ID 003Ah
};

TEST(IdentifySim, ChannelReadsWhatIpmitoolReadsAndIdentifiesTheFamily) {
  const std::string profile = Env("ORDIX_SIM_PROFILE");
  ASSERT_EQ(kExpectedFamily.count(profile), 1u) << "run through sim/run: " << profile;

  std::vector<std::string> reply;
  Platform::PlatformImpl::execIPMICommand("20 06 00 01", reply);
  ASSERT_FALSE(reply.empty());
  EXPECT_EQ(reply.front(), "0");  // completion code
  EXPECT_EQ(std::vector<std::string>(reply.begin() + 1, reply.end()), IpmitoolRaw("0x06 0x01"));

  Platform::PlatformImpl* platform = Platform::PlatformImpl::GetInstance();
  EXPECT_EQ(platform->family, kExpectedFamily.at(profile));

  // A BMC that stops answering makes every request fail with 1026 and the request text.
  ASSERT_EQ(::kill(std::atoi(Env("ORDIX_SIM_BMC_PID").c_str()), SIGKILL), 0);
  try {
    Platform::PlatformImpl::execIPMICommand("20 04 00 2d 90", reply);
    ADD_FAILURE() << "a request to a stopped BMC succeeded";
  } catch (const ResultStatus& status) {
    EXPECT_EQ(status.GetCode(), 1026);
    EXPECT_EQ(status.GetDetail(), "20 04 00 2d 90");
  }
}

}  // namespace
