// The scripted double through its C interface, loaded by the real library's name from the
// directory LD_LIBRARY_PATH puts first, as a test of the module finds it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "Settings.h"
#include "TempDir.h"
#include "imb.h"
#include "sys/DynamicLibrary.h"

namespace {

using TestSupport::LogCapture;
using TestSupport::ScopedEnv;
using TestSupport::TempDir;
using Bytes = std::vector<uint8_t>;

constexpr uint8_t kApp = 0x06, kSensor = 0x04, kStorage = 0x0A;

struct Answer {
  int status = -1;
  uint8_t code = 0;
  Bytes data;
};

class ScriptedDouble : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    library_ = Sys::DynamicLibrary::Open("libquarnapi.so", error);
    ASSERT_TRUE(library_.IsLoaded()) << error;
    send_ = reinterpret_cast<SendTimedImbpRequestFn>(library_.Symbol("SendTimedImbpRequest"));
    select_ = reinterpret_cast<SelectInterfaceFn>(library_.Symbol("SelectInterface"));
    ASSERT_TRUE(send_ && select_);
  }

  void Script(const std::string& text) { dir_.Write("bmc.script", text); }

  Answer Send(uint8_t netFn, uint8_t command, Bytes data = {}) {
    ImbRequest request{};
    request.cmdType = command;
    request.rsSa = IMB_BMC_SLAVE_ADDRESS;
    request.netFn = netFn;
    request.data = data.data();
    request.dataLength = static_cast<uint32_t>(data.size());
    std::array<uint8_t, IMB_MAX_RESPONSE_DATA_LENGTH> buffer{};
    int length = 0;
    Answer answer;
    answer.status = send_(&request, 10000, buffer.data(), &length, &answer.code);
    EXPECT_TRUE(length >= 0 && length <= IMB_MAX_RESPONSE_DATA_LENGTH);
    answer.data.assign(buffer.begin(), buffer.begin() + length);
    return answer;
  }

  Answer SelEntry(uint16_t id, uint8_t offset = 0, uint8_t count = 0xFF) {
    return Send(
        kStorage, 0x43,
        {0, 0, static_cast<uint8_t>(id & 0xFF), static_cast<uint8_t>(id >> 8), offset, count});
  }

  TempDir dir_;
  ScopedEnv configDir_{"ORDIX_CONFIG_DIR", dir_.Path()};
  ScopedEnv script_{"QUARNAPI_SIM_SCRIPT", dir_.Path() + "/bmc.script"};
  Sys::DynamicLibrary library_;
  SendTimedImbpRequestFn send_ = nullptr;
  SelectInterfaceFn select_ = nullptr;
};

MATCHER_P2(Replies, code, data, "") {
  return arg.status == IMB_STATUS_SUCCESS && arg.code == code && arg.data == Bytes(data);
}

TEST_F(ScriptedDouble, AnswersTheScriptedCommands) {
  Script(
      "device-id 20 81 05 02\n"
      "reading 90 00 c0 80 00\n"
      "reading 91 cc=d5\n"
      "event-status 90 c0 80 00\n"
      "raw 06 04 01 : 55 01\n");
  EXPECT_THAT(Send(kApp, 0x01), Replies(0x00, Bytes{0x20, 0x81, 0x05, 0x02}));
  EXPECT_THAT(Send(kSensor, 0x2D, {0x90}), Replies(0x00, Bytes{0x00, 0xC0, 0x80, 0x00}));
  EXPECT_THAT(Send(kSensor, 0x2B, {0x90}), Replies(0x00, Bytes{0xC0, 0x80, 0x00}));
  EXPECT_THAT(Send(kSensor, 0x2D, {0x91}), Replies(0xD5, Bytes{}));
  EXPECT_THAT(Send(kApp, 0x04, {0x01}), Replies(0x00, Bytes{0x55, 0x01}));

  EXPECT_THAT(Send(kSensor, 0x2B, {0x91}), Replies(0xCB, Bytes{})) << "sensor not present";
  EXPECT_THAT(Send(kSensor, 0x2D, {}), Replies(0xC7, Bytes{})) << "no sensor number";
  EXPECT_THAT(Send(kApp, 0x04, {0x02}), Replies(0xC1, Bytes{})) << "other raw data";
  EXPECT_THAT(Send(kStorage, 0x40), Replies(0xC1, Bytes{})) << "unscripted command";
  EXPECT_EQ(select_("lanplus", nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(select_("serial", nullptr, nullptr, nullptr), 0);
}

TEST_F(ScriptedDouble, WalksTheEventLogByNextRecordIds) {
  const std::vector<std::string> records = {"07 00 02 00 00 00 00 20 00 04 12 08 6f 01 ff ff",
                                            "03 00 02 00 00 00 00 20 00 04 0c 08 6f 40 ff ff",
                                            "09 00 02 00 00 00 00 20 00 04 0c 08 6f 41 ff ff"};
  std::string text;
  for (const auto& r : records) text += "sel " + r + "\n";
  Script(text);

  std::vector<uint16_t> walked;
  uint16_t id = 0x0000;
  for (int guard = 0; guard < 10 && id != 0xFFFF; ++guard) {
    const Answer a = SelEntry(id);
    ASSERT_EQ(a.code, 0x00);
    ASSERT_EQ(a.data.size(), 18U);
    walked.push_back(static_cast<uint16_t>(a.data[2] | (a.data[3] << 8)));
    id = static_cast<uint16_t>(a.data[0] | (a.data[1] << 8));
  }
  EXPECT_EQ(walked, (std::vector<uint16_t>{7, 3, 9}));
  EXPECT_THAT(SelEntry(0xFFFF),
              Replies(0x00, Bytes{0xFF, 0xFF, 0x09, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x20, 0x00,
                                  0x04, 0x0C, 0x08, 0x6F, 0x41, 0xFF, 0xFF}));
  EXPECT_THAT(SelEntry(3, 10, 4), Replies(0x00, Bytes{0x09, 0x00, 0x0C, 0x08, 0x6F, 0x40}));
  EXPECT_THAT(SelEntry(3, 14, 4), Replies(0xC9, Bytes{}));
  EXPECT_THAT(SelEntry(4), Replies(0xCB, Bytes{}));
  EXPECT_THAT(Send(kStorage, 0x43, {0, 0, 3}), Replies(0xC7, Bytes{}));
}

// A caller trying three times succeeds on its third try after two failures, and fails
// after three. Rewriting the script starts its failures again.
TEST_F(ScriptedDouble, ScriptedFailuresPrecedeAnswers) {
  Script("fail 2\ndevice-id 01\n");
  EXPECT_EQ(Send(kApp, 0x01).status, IMB_STATUS_SEND_FAILED);
  EXPECT_EQ(Send(kApp, 0x01).status, IMB_STATUS_SEND_FAILED);
  EXPECT_THAT(Send(kApp, 0x01), Replies(0x00, Bytes{0x01}));

  Script("fail 3\ndevice-id 02\n");
  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_EQ(Send(kApp, 0x01).status, IMB_STATUS_SEND_FAILED) << attempt;
  }
  EXPECT_THAT(Send(kApp, 0x01), Replies(0x00, Bytes{0x02}));
}

TEST_F(ScriptedDouble, UnusableScriptsFailEveryRequestUntilFixed) {
  LogCapture log;
  EXPECT_EQ(Send(kApp, 0x01).status, IMB_STATUS_NOT_CONFIGURED) << "no script file";
  Script("device-id 01\nreading 9z 00\n");
  EXPECT_EQ(Send(kApp, 0x01).status, IMB_STATUS_NOT_CONFIGURED);
  EXPECT_EQ(Send(kApp, 0x01).status, IMB_STATUS_NOT_CONFIGURED);
  ASSERT_EQ(log.Records().size(), 2U) << "one record per change of script";
  EXPECT_NE(log.Records()[1].text.find("line 2: sensor number \"9z\""), std::string::npos);

  Script("device-id 01\n");
  EXPECT_THAT(Send(kApp, 0x01), Replies(0x00, Bytes{0x01}));

  // Without the variable, the settings name the script.
  ScopedEnv noVariable("QUARNAPI_SIM_SCRIPT", "");
  dir_.Write("other.script", "device-id 03\n");
  dir_.Write(Ordix::Settings::kFileName, "[BMC]\nSimScript=" + dir_.Path() + "/other.script\n");
  EXPECT_THAT(Send(kApp, 0x01), Replies(0x00, Bytes{0x03}));
}

}  // namespace
