// The IPMI channel: text requests through the scripted controller and back, and the
// byte-level helpers.
#include <gtest/gtest.h>

#include <numeric>

#include "BMCConfigModule.h"
#include "LogCapture.h"
#include "QueryScope.h"
#include "SimulatedServer.h"
#include "platform/ImbChannel.h"
#include "platform/PlatformImpl.h"

namespace {

using Platform::PlatformImpl;
using PlatformTest::SimulatedServer;
using Strings = std::vector<std::string>;
using Bytes = std::vector<uint8_t>;

Strings Exec(const std::string& request) {
  Strings response{"left over"};
  PlatformImpl::execIPMICommand(request, response);
  return response;
}

TEST(ByteHelpers, SplitTokensIpmbChecksumAndTheBridgedLayout) {
  const std::pair<std::string, Strings> rows[] = {{"  20  06 00 01  ", {"20", "06", "00", "01"}},
                                                  {"a,b;;c;", {"a", "b", "c"}},
                                                  {"   ", {}},
                                                  {"", {}}};
  for (const auto& [text, tokens] : rows) {
    Strings out{"stale"};
    PlatformImpl::SplitTokens(out, text, " ,;");
    EXPECT_EQ(out, tokens) << '"' << text << '"';
  }
  Strings out;
  PlatformImpl::SplitTokens(out, "no delimiter", "");
  EXPECT_EQ(out, Strings{"no delimiter"});

  EXPECT_EQ(Platform::IpmbChecksum(nullptr, 3), 0);
  EXPECT_EQ(Platform::IpmbChecksum(Bytes{0x20}.data(), 0), 0);
  // Any count below 2 but 0, a negative one too, covers the first byte alone.
  for (const int count : {1, -1, -300}) {
    EXPECT_EQ(Platform::IpmbChecksum(Bytes{0x20, 0x18}.data(), count), 0xE0) << count;
  }
  EXPECT_EQ(Platform::IpmbChecksum(Bytes{0x20, 0x18}.data(), 2), 0xC8);
  for (int count = 1; count <= 9; ++count) {
    Bytes bytes(static_cast<size_t>(count));
    std::iota(bytes.begin(), bytes.end(), static_cast<uint8_t>(0x7D + count));
    const int sum = std::accumulate(bytes.begin(), bytes.end(), 0);
    EXPECT_EQ((sum + Platform::IpmbChecksum(bytes.data(), count)) % 256, 0) << count;
  }

  Platform::IpmiRequestBuffer inner;
  inner.netFn = 0x04;
  inner.rsLun = 0x07;  // only the low two bits travel
  inner.cmd = 0x2D;
  inner.data = {0x90};
  const auto outer = Platform::BuildBridgedRequest(inner, 0x06, 0x2C, 63);
  EXPECT_EQ(std::make_tuple(outer.rsSa, outer.netFn, outer.cmd, outer.rsLun),
            std::make_tuple(0x20, 0x06, 0x34, 0x00));
  // channel, target, netFn/LUN, checksum, requester, sequence/LUN, command, data, checksum
  EXPECT_EQ(outer.data, (Bytes{0x06, 0x2C, 0x13, 0xC1, 0x20, 0xFE, 0x2D, 0x90, 0x25}));
}

class Channel : public ::testing::Test {
 protected:
  TestSupport::LogCapture log_;
};

// A reply's completion code first, then its data bytes, in hex without leading zeros.
TEST_F(Channel, RequestTokensReachTheControllerAndTheReplyComesBackAsText) {
  SimulatedServer server("board-table-hit",
                         "device-id 20 81 05 02\nreading 90 00 c0 80 00\nraw 0a 42 01 ff : 34 12\n"
                         "raw 0a 43 :\nraw 0a 44 : cc=c1\n");
  const std::pair<std::string, Strings> rows[] = {
      {"  20  06   00 01   ", {"0", "20", "81", "5", "2"}},
      {"20 04 00 2d 90", {"0", "0", "c0", "80", "0"}},
      {"20 0a 00 42 01 ff", {"0", "34", "12"}},
      {"20 0a 00 43", {"0"}},
      {"20 0a 00 44", {"193"}}};
  for (const auto& [request, response] : rows) {
    EXPECT_EQ(Exec(request), response) << '"' << request << '"';
  }
  EXPECT_TRUE(log_.Records().empty());
}

TEST_F(Channel, ShortRequestsAndThreeFailedSendsFailWith1026) {
  for (const int failures : {1, 2}) {
    SimulatedServer server("board-table-hit",
                           "fail " + std::to_string(failures) + "\ndevice-id 42");
    EXPECT_EQ(Exec("20 06 00 01"), (Strings{"0", "42"})) << "retried away: " << failures;
  }
  EXPECT_TRUE(log_.Records().empty());
  SimulatedServer server("board-table-hit", "fail 3\ndevice-id 42");
  for (const std::string request : {"", "   ", "20 06 00", "20 06 00 01"}) {
    const auto status = PlatformTest::Thrown([&] { Exec(request); });
    ASSERT_TRUE(status);
    EXPECT_EQ(status->GetCode(), 1026);
    EXPECT_EQ(status->GetDetail(), request);
    EXPECT_EQ(status->GetCommand(), XCOMMAND_PROCESS_XQUERY);
  }
  const TestSupport::LoggedError malformed{".\\PlatformImpl",
                                           "Platform::PlatformImpl::execIPMICommand", 229, 1026};
  TestSupport::LoggedError failed = malformed;
  failed.line = 258;
  EXPECT_EQ(log_.Errors(),
            (std::vector<TestSupport::LoggedError>{malformed, malformed, malformed, failed}));
}

// Both ways to the BMC share a query's time for it: the channel keeps its attempts while failures
// come quickly, but once either way has seen the BMC fail the query, neither sends again until
// the next query, though the controller would now answer.
TEST_F(Channel, AQueryThatSawTheBmcFailSendsNothingMoreEitherWay) {
  using Module::BMCConfig::BMCConfigModule;
  {
    SimulatedServer server("board-table-hit", "fail 2\ndevice-id 42");
    const QueryScope query;
    EXPECT_EQ(Exec("20 06 00 01"), (Strings{"0", "42"}));
  }
  SimulatedServer server("board-table-hit", "fail 1\nreading 5 01\ndevice-id 42");
  {
    const QueryScope query;
    ResultMap answer;
    auto status =
        PlatformTest::Thrown([&] { BMCConfigModule().Process("/BMC/SENSOR[5]/VALUE", answer); });
    ASSERT_TRUE(status);
    EXPECT_EQ(status->GetCode(), 2040);
    status = PlatformTest::Thrown([] { Exec("20 06 00 01"); });
    ASSERT_TRUE(status);
    EXPECT_EQ(status->GetCode(), 1026);
  }
  {
    const QueryScope query;
    EXPECT_EQ(Exec("20 06 00 01"), (Strings{"0", "42"})) << "a new query tries again";
  }
  server.dir.Write("bmc.script", "fail 3\nreading 5 01\n");
  const QueryScope query;
  EXPECT_TRUE(PlatformTest::Thrown([] { Exec("20 06 00 01"); }));
  ResultMap answer;
  const auto status =
      PlatformTest::Thrown([&] { BMCConfigModule().Process("/BMC/SENSOR[5]/VALUE", answer); });
  ASSERT_TRUE(status);
  EXPECT_EQ(status->GetCode(), 2046);
  EXPECT_EQ(status->GetDetail(),
            "request 20 04 00 2d 05: the BMC failed earlier in this query: request 20 06 00 01: "
            "the script makes this request fail");
}

TEST_F(Channel, SendFillsTheResponseHeaderFromTheRequest) {
  SimulatedServer server("board-table-hit", "raw 0a 42 : 34 12 cc=81");
  Platform::IpmiRequestBuffer request;
  request.rsSa = 0x20;
  request.netFn = 0x0A;
  request.cmd = 0x42;
  Platform::IpmiResponseBuffer response;
  EXPECT_EQ(Platform::SendImbRequest(nullptr, &response), Platform::kImbStatusNullRequest);
  EXPECT_EQ(Platform::SendImbRequest(&request, nullptr), Platform::kImbStatusNullRequest);
  EXPECT_EQ(Platform::SendBridgedImbRequest(nullptr, &response, 0, 0x2C),
            Platform::kImbBridgeNoMemory);
  ASSERT_EQ(Platform::LoadImbLibrary(), Platform::kImbStatusSuccess);
  ASSERT_EQ(Platform::SendImbRequest(&request, &response), Platform::kImbStatusSuccess);
  EXPECT_EQ(std::make_tuple(response.dataLength, response.completionCode, response.cmd,
                            response.netFn, response.rsSa),
            std::make_tuple(2, 0x81, 0x42, 0x0B, 0x20));
  EXPECT_EQ(Bytes(response.data.begin(), response.data.begin() + 2), (Bytes{0x34, 0x12}));
}

}  // namespace
