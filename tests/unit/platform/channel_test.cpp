// The IPMI channel: text requests through the scripted controller and back, the driver's
// load and unload, and the byte-level helpers.

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "SimulatedServer.h"
#include "platform/ImbChannel.h"
#include "platform/PlatformImpl.h"

namespace {

using Platform::PlatformImpl;
using PlatformTest::SimulatedServer;
using PlatformTest::Thrown;
using Strings = std::vector<std::string>;
using Bytes = std::vector<uint8_t>;

constexpr const char* kAnyBoard = "board-table-hit";

Strings Exec(const std::string& request) {
  Strings response{"left over"};
  PlatformImpl::execIPMICommand(request, response);
  return response;
}

TEST(SplitTokens, SplitsAtAnyDelimiterAndDropsEmptyTokens) {
  const struct {
    std::string text, delimiters;
    Strings tokens;
  } rows[] = {{"20 06 00 01", " ", {"20", "06", "00", "01"}},
              {"  20  06 00 01  ", " ", {"20", "06", "00", "01"}},
              {"a,b;;c;", ",;", {"a", "b", "c"}},
              {"   ", " ", {}},
              {"", " ", {}},
              {"no delimiter", "", {"no delimiter"}}};
  for (const auto& row : rows) {
    Strings out{"stale"};
    PlatformImpl::SplitTokens(out, row.text, row.delimiters);
    EXPECT_EQ(out, row.tokens) << '"' << row.text << '"';
  }
}

TEST(IpmbChecksum, MakesEveryByteCountSumToZero) {
  EXPECT_EQ(Platform::IpmbChecksum(nullptr, 3), 0);
  EXPECT_EQ(Platform::IpmbChecksum(Bytes{0x20}.data(), 0), 0);
  EXPECT_EQ(Platform::IpmbChecksum(Bytes{0x20}.data(), 1), 0xE0);
  EXPECT_EQ(Platform::IpmbChecksum(Bytes{0x20, 0x18}.data(), 2), 0xC8);
  for (int count = 1; count <= 9; ++count) {
    Bytes bytes(static_cast<size_t>(count));
    std::iota(bytes.begin(), bytes.end(), static_cast<uint8_t>(0x7D + count));
    const uint8_t sum = std::accumulate(bytes.begin(), bytes.end(), uint8_t{0},
                                        [](uint8_t a, uint8_t b) { return uint8_t(a + b); });
    EXPECT_EQ(uint8_t(sum + Platform::IpmbChecksum(bytes.data(), count)), 0) << count;
  }
}

TEST(BuildBridgedRequest, WrapsTheInnerRequestInSendMessageWithBothChecksums) {
  Platform::IpmiRequestBuffer inner;
  inner.netFn = 0x04;
  inner.rsLun = 0x07;  // only the low two bits travel
  inner.cmd = 0x2D;
  inner.data = {0x90};
  const Platform::IpmiRequestBuffer outer = Platform::BuildBridgedRequest(inner, 0x06, 0x2C, 63);
  EXPECT_EQ(outer.rsSa, 0x20);
  EXPECT_EQ(outer.netFn, 0x06);
  EXPECT_EQ(outer.cmd, 0x34);
  EXPECT_EQ(outer.rsLun, 0x00);
  // channel, target, netFn/LUN, checksum, requester, sequence/LUN, command, data, checksum
  EXPECT_EQ(outer.data, (Bytes{0x06, 0x2C, 0x13, 0xC1, 0x20, 0xFE, 0x2D, 0x90, 0x25}));
}

class Channel : public ::testing::Test {
 protected:
  TestSupport::LogCapture log_;
};

TEST_F(Channel, RequestTokensReachTheControllerAndTheReplyComesBackAsText) {
  const struct {
    std::string request, script;
    Strings response;
  } rows[] = {
      {"20 06 00 01", "device-id 20 81 05 02", {"0", "20", "81", "5", "2"}},
      {"  20 06 00 01", "device-id 20 81 05 02", {"0", "20", "81", "5", "2"}},
      {"20  06   00 01", "device-id 20 81 05 02", {"0", "20", "81", "5", "2"}},
      {"20 06 00 01   ", "device-id 20 81 05 02", {"0", "20", "81", "5", "2"}},
      {"20 06 00 01", "device-id cc=c1", {"193"}},
      {"20 04 00 2d 90", "reading 90 00 c0 80 00", {"0", "0", "c0", "80", "0"}},
      {"20 0a 00 42 01 ff", "raw 0a 42 01 ff : 34 12", {"0", "34", "12"}},
  };
  for (const auto& row : rows) {
    SimulatedServer server(kAnyBoard, row.script);
    EXPECT_EQ(Exec(row.request), row.response) << '"' << row.request << '"';
  }
  EXPECT_TRUE(log_.Records().empty());
}

TEST_F(Channel, RequestWithoutItsFourHeaderBytesFailsWith1026) {
  SimulatedServer server(kAnyBoard, "device-id 20 81 05 02");
  for (const std::string request : {"", "   ", "20 06 00"}) {
    const auto status = Thrown([&] { Exec(request); });
    ASSERT_TRUE(status);
    EXPECT_EQ(status->GetCode(), 1026);
    EXPECT_EQ(status->GetDetail(), request);
  }
  ASSERT_EQ(log_.Records().size(), 3U);
  EXPECT_EQ(log_.Records()[0].line, 229);
}

TEST_F(Channel, ThreeFailedSendsFailWith1026FewerAreRetriedAway) {
  for (const int failures : {1, 2}) {
    SimulatedServer server(kAnyBoard, "fail " + std::to_string(failures) + "\ndevice-id 42");
    EXPECT_EQ(Exec("20 06 00 01"), (Strings{"0", "42"})) << failures;
  }
  SimulatedServer server(kAnyBoard, "fail 3\ndevice-id 42");
  const auto status = Thrown([] { Exec("20 06 00 01"); });
  ASSERT_TRUE(status);
  EXPECT_EQ(status->GetCode(), 1026);
  EXPECT_EQ(status->GetDetail(), "20 06 00 01");
  EXPECT_EQ(status->GetCommand(), XCOMMAND_PROCESS_XQUERY);
  ASSERT_EQ(log_.Records().size(), 1U);
  EXPECT_EQ(log_.Records()[0].source, ".\\PlatformImpl");
  EXPECT_EQ(log_.Records()[0].line, 258);
}

TEST_F(Channel, SendFillsTheResponseHeaderFromTheRequest) {
  SimulatedServer server(kAnyBoard, "raw 0a 42 : 34 12 cc=81");
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
  EXPECT_EQ(response.dataLength, 2);
  EXPECT_EQ(response.completionCode, 0x81);
  EXPECT_EQ(response.cmd, 0x42);
  EXPECT_EQ(response.netFn, 0x0B);
  EXPECT_EQ(response.rsSa, 0x20);
  EXPECT_EQ(Bytes(response.data.begin(), response.data.begin() + 2), (Bytes{0x34, 0x12}));
}

}  // namespace
