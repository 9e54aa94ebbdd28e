// The FreeIPMI library through its C interface, loaded as the module loads it, against
// controllers that are not there: a closed port, a host that never answers, an absent device.
// Each must fail with its status, promptly (the test's time limit catches a hang).

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>

#include "LogCapture.h"
#include "Settings.h"
#include "TempDir.h"
#include "imb.h"
#include "sys/DynamicLibrary.h"

namespace {

using TestSupport::LogCapture;
using TestSupport::ScopedEnv;
using TestSupport::TempDir;

// A UDP socket on a free loopback port that reads what arrives and never answers.
class SilentPort {
 public:
  SilentPort() : fd_(::socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (fd_ < 0 || ::bind(fd_, generic, size) != 0 || ::getsockname(fd_, generic, &size) != 0) {
      ADD_FAILURE() << "cannot bind a loopback UDP port";
    }
    port_ = ntohs(address.sin_port);
  }
  ~SilentPort() { Close(); }
  SilentPort(const SilentPort&) = delete;
  SilentPort& operator=(const SilentPort&) = delete;

  unsigned Port() const { return port_; }
  void Close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }
  // Datagrams that arrived since the last call.
  int Drain() {
    int count = 0;
    pollfd p{fd_, POLLIN, 0};
    char buffer[512];
    while (::poll(&p, 1, 0) > 0 && ::recv(fd_, buffer, sizeof buffer, 0) >= 0) ++count;
    return count;
  }

 private:
  int fd_;
  unsigned port_ = 0;
};

class FreeIpmiLibrary : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    library_ = Sys::DynamicLibrary::Open(QUARNAPI_PATH, error);
    ASSERT_TRUE(library_.IsLoaded()) << error;
    send_ = reinterpret_cast<SendTimedImbpRequestFn>(library_.Symbol("SendTimedImbpRequest"));
    async_ = reinterpret_cast<GetAsyncImbpMessageFn>(library_.Symbol("GetAsyncImbpMessage"));
    select_ = reinterpret_cast<SelectInterfaceFn>(library_.Symbol("SelectInterface"));
    ASSERT_TRUE(send_ && async_ && select_);
  }

  void Configure(const std::string& bmcSection) {
    dir_.Write(Ordix::Settings::kFileName, "[BMC]\n" + bmcSection);
  }

  // Get Device ID; the response length must be 0 after any failure.
  int GetDeviceId() {
    ImbRequest request{};
    request.cmdType = 0x01;
    request.rsSa = IMB_BMC_SLAVE_ADDRESS;
    request.netFn = 0x06;
    uint8_t data[IMB_MAX_RESPONSE_DATA_LENGTH] = {};
    int length = 7;
    uint8_t code = 0;
    const int status = send_(&request, 10000, data, &length, &code);
    if (status != IMB_STATUS_SUCCESS) {
      EXPECT_EQ(length, 0);
    }
    return status;
  }

  bool Logged(const std::string& text) const {
    for (const LogRecord& record : log_.Records()) {
      if (record.text.find(text) != std::string::npos) return true;
    }
    return false;
  }

  TempDir dir_;
  ScopedEnv configDir_{"ORDIX_CONFIG_DIR", dir_.Path()};
  LogCapture log_;
  Sys::DynamicLibrary library_;
  SendTimedImbpRequestFn send_ = nullptr;
  GetAsyncImbpMessageFn async_ = nullptr;
  SelectInterfaceFn select_ = nullptr;
};

TEST_F(FreeIpmiLibrary, ClosedLoopbackPortFailsToOpen) {
  SilentPort closed;
  closed.Close();
  for (const char* interface : {"lan", "lanplus"}) {
    Configure(std::string("Interface=") + interface + "\nHost=127.0.0.1\nPort=" +
              std::to_string(closed.Port()) + "\nUser=admin\nPassword=pw\nTimeoutMs=300\n");
    EXPECT_EQ(GetDeviceId(), IMB_STATUS_OPEN_FAILED) << interface;
  }
  EXPECT_TRUE(Logged("session to 127.0.0.1:" + std::to_string(closed.Port())));
}

TEST_F(FreeIpmiLibrary, SilentHostFailsAndIsTriedAgainOnTheNextRequest) {
  SilentPort silent;
  Configure("Interface=lanplus\nHost=127.0.0.1\nPort=" + std::to_string(silent.Port()) +
            "\nTimeoutMs=300\nWorkarounds=opensesspriv\n");
  EXPECT_EQ(GetDeviceId(), IMB_STATUS_OPEN_FAILED);
  EXPECT_GT(silent.Drain(), 0) << "nothing reached the configured port";
  EXPECT_EQ(GetDeviceId(), IMB_STATUS_OPEN_FAILED);
  EXPECT_GT(silent.Drain(), 0) << "the failed session was not opened again";
}

TEST_F(FreeIpmiLibrary, AbsentInbandDeviceFailsAtOnce) {
  Configure("Interface=inband\nDevice=" + dir_.Path() + "/ipmi0\n");
  EXPECT_EQ(GetDeviceId(), IMB_STATUS_OPEN_FAILED);
  EXPECT_TRUE(Logged(dir_.Path() + "/ipmi0"));
}

TEST_F(FreeIpmiLibrary, BadSettingsAndArgumentsAreRefused) {
  Configure("Interface=serial\n");
  EXPECT_EQ(GetDeviceId(), IMB_STATUS_NOT_CONFIGURED);
  EXPECT_TRUE(Logged("[BMC] Interface = \"serial\""));

  uint8_t data[IMB_MAX_RESPONSE_DATA_LENGTH];
  int length = 0;
  uint8_t code = 0;
  EXPECT_EQ(send_(nullptr, 0, data, &length, &code), IMB_STATUS_INVALID_ARGUMENT);
  ImbRequest oddNetFn{};
  oddNetFn.netFn = 0x07;
  EXPECT_EQ(send_(&oddNetFn, 0, data, &length, &code), IMB_STATUS_INVALID_ARGUMENT);

  uint32_t messageLength = 65540;
  uint32_t sequence = 1;
  EXPECT_EQ(async_(data, &messageLength, 0, &sequence, 0), IMB_STATUS_NO_MESSAGE);
  EXPECT_EQ(messageLength, 0U);
  EXPECT_EQ(async_(nullptr, &messageLength, 0, &sequence, 0), IMB_STATUS_INVALID_ARGUMENT);

  // A selection replaces the unusable settings: the request now gets as far as the network.
  SilentPort closed;
  closed.Close();
  const std::string host = "127.0.0.1:" + std::to_string(closed.Port());
  EXPECT_EQ(select_("serial", nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(select_(nullptr, nullptr, nullptr, nullptr), 0);
  Configure("Interface=serial\nTimeoutMs=300\n");
  EXPECT_NE(select_("LANPLUS", host.c_str(), "admin", "pw"), 0);
  EXPECT_EQ(GetDeviceId(), IMB_STATUS_OPEN_FAILED);
}

}  // namespace
