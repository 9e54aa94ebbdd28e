// The channel against a driver the test scripts (stub_driver.cpp): what the driver is handed
// for a request, and the bridged request's exchange: the resends, the asynchronous answer it
// waits for, its sequence numbers and its time limit.
#include <gtest/gtest.h>

#include <chrono>
#include <new>
#include <tuple>

#include "LogCapture.h"
#include "ScriptedDriver.h"
#include "SimulatedServer.h"
#include "platform/ImbChannel.h"
#include "platform/PlatformImpl.h"
#include "sys/DynamicLibrary.h"
#include "sys/Process.h"

namespace {

using namespace DriverTest;
using Bytes = std::vector<uint8_t>;
using Clock = std::chrono::steady_clock;

constexpr uint8_t kBusy = 0x80, kTimedOut = 0x83, kRefused = 0xC1;

ScriptedReply Reply(uint8_t completionCode, int status = IMB_STATUS_SUCCESS) {
  return {status, completionCode, {}};
}
constexpr size_t kSequenceByte = 5;  // of the Send Message data

// While set, allocations that may fail without throwing do: the module takes its response
// block so.
bool failNothrowAllocations = false;

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (failNothrowAllocations) return nullptr;
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

namespace {

// The driver the module loads, found where the module finds it, its script emptied.
class ScriptedDriverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    library_ = Sys::DynamicLibrary::Open(Sys::SharedLibraryFileName("quarnapi"), error);
    ASSERT_TRUE(library_.IsLoaded()) << error;
    const auto script = reinterpret_cast<ScriptedDriverFn>(library_.Symbol("ScriptedDriver"));
    ASSERT_NE(script, nullptr);
    driver_ = script();
    *driver_ = DriverScript{};
    ASSERT_EQ(Platform::LoadImbLibrary(), Platform::kImbStatusSuccess);
    inner_.netFn = 0x04;
    inner_.cmd = 0x2D;
    inner_.data = {0x90};
  }
  uint32_t Bridge() { return Platform::SendBridgedImbRequest(&inner_, &out_, 0x06, 0x2C); }
  // The answer to inner_ as the controller relays it: netFn/LUN, two address bytes, the
  // sequence (stamped by the driver), command, completion code, data.
  static ScriptedMessage Answer(uint8_t command, int sequenceOffset = 0) {
    return {{0x14, 0x81, 0x2C, 0x02, command, 0x00, 0x00, 0xC0, 0x80}, sequenceOffset};
  }

  Sys::DynamicLibrary library_;
  DriverScript* driver_ = nullptr;
  Platform::IpmiRequestBuffer inner_;
  Platform::IpmiResponseBuffer out_;
};

TEST_F(ScriptedDriverTest, RequestsReachTheDriverAsTheModuleLaysThemOut) {
  std::vector<std::string> response;
  Platform::PlatformImpl::execIPMICommand("20 06 00 01", response);
  Platform::PlatformImpl::execIPMICommand("2c 04 03 2d 90 ff", response);
  ASSERT_EQ(driver_->sent.size(), 2u);
  const auto fields = [](const SentRequest& r) {
    return std::make_tuple(r.cmdType, r.rsSa, r.busType, r.netFn, r.rsLun, r.nullData, r.data);
  };
  // Without data the pointer still points into the request, as a vendor driver expects.
  EXPECT_EQ(fields(driver_->sent[0]), std::make_tuple(0x01, 0x20, 0, 0x06, 0, false, Bytes{}));
  EXPECT_EQ(fields(driver_->sent[1]),
            std::make_tuple(0x2D, 0x2C, 0, 0x04, 0x03, false, Bytes{0x90, 0xFF}));
}

TEST_F(ScriptedDriverTest, NoResponseBlockIsError1006AndNothingIsSent) {
  TestSupport::LogCapture log;
  std::vector<std::string> response;
  failNothrowAllocations = true;
  const auto status = PlatformTest::Thrown(
      [&] { Platform::PlatformImpl::execIPMICommand("20 06 00 01", response); });
  failNothrowAllocations = false;
  ASSERT_TRUE(status);
  EXPECT_EQ(std::make_tuple(status->GetCode(), status->GetDetail(), status->GetCommand()),
            std::make_tuple(1006, std::string(), XCOMMAND_NONE));
  EXPECT_EQ(log.Errors(),
            (std::vector<TestSupport::LoggedError>{
                {".\\PlatformImpl", "Platform::PlatformImpl::execIPMICommand", 212, 1006}}));
  EXPECT_TRUE(driver_->sent.empty());
}

TEST_F(ScriptedDriverTest, BridgedRequestIsResentOnlyWhileTheControllerIsBusy) {
  const struct {
    const char* name;
    std::deque<ScriptedReply> replies;
    size_t sends;
    bool awaitsAnswer;
  } rows[] = {
      {"busy, timed out, then taken", {Reply(kBusy), Reply(kTimedOut), Reply(0)}, 3, true},
      {"refused", {Reply(kRefused), Reply(0)}, 1, false},
      {"busy at every one of 200 tries", std::deque<ScriptedReply>(201, Reply(kBusy)), 200, false},
      // The channel's own three tries, then the bridge gives up.
      {"not sent", std::deque<ScriptedReply>(3, Reply(0, IMB_STATUS_SEND_FAILED)), 3, false},
  };
  for (const auto& row : rows) {
    *driver_ = DriverScript{};
    driver_->replies = row.replies;
    driver_->messages = {Answer(0x2D)};
    EXPECT_EQ(Bridge(), 0u) << row.name;
    EXPECT_EQ(driver_->sent.size(), row.sends) << row.name;
    EXPECT_EQ(driver_->polls > 0, row.awaitsAnswer) << row.name;
  }
}

TEST_F(ScriptedDriverTest, TheAnswerIsTheMessageOfTheRequestsSequenceAndCommand) {
  // A stranger's sequence is skipped, the right one with another command waited past.
  driver_->messages = {Answer(0x2D, 1), Answer(0x2E), Answer(0x2D)};
  driver_->messages.back().bytes = {0x14, 0x81, 0x2C, 0x00, 0x2D, 0xCB, 0x01, 0x02, 0x03, 0x04};
  out_.rsSa = 0x77;
  EXPECT_EQ(Bridge(), 0u);
  EXPECT_EQ(driver_->polls, 3);
  EXPECT_EQ(std::make_tuple(out_.dataLength, out_.completionCode, out_.cmd, out_.netFn, out_.rsSa),
            std::make_tuple(4, 0xCB, 0x2D, 0x05, 0x77));
  EXPECT_EQ(Bytes(out_.data.begin(), out_.data.begin() + 4), (Bytes{0x01, 0x02, 0x03, 0x04}));
}

TEST_F(ScriptedDriverTest, SequenceNumbersRunFrom1To63) {
  std::vector<int> sequences;
  for (int i = 0; i < 64; ++i) {
    driver_->replies = {Reply(kRefused)};  // nothing is waited for; the number moves on
    Bridge();
    const uint8_t field = driver_->sent.back().data.at(kSequenceByte);
    EXPECT_EQ(field & 3, 2);  // the requester's LUN
    sequences.push_back(field >> 2);
  }
  for (size_t i = 1; i < sequences.size(); ++i) {
    EXPECT_EQ(sequences[i], sequences[i - 1] % 63 + 1) << "after " << sequences[i - 1];
  }
}

TEST_F(ScriptedDriverTest, AnAnswerThatNeverComesIsGivenUpAfterFiveSeconds) {
  driver_->replies = {Reply(0)};
  out_.dataLength = 0x55;
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(Bridge(), 0u);
  const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
  EXPECT_GE(waited.count(), 5000);
  EXPECT_LT(waited.count(), 15000);
  EXPECT_GT(driver_->polls, 1);
  EXPECT_EQ(out_.dataLength, 0x55);  // nothing came back, nothing is written
}

}  // namespace
