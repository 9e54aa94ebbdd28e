// The FreeIPMI library through its C interface, loaded as the module loads it, against
// controllers that are not there. Each must fail with its status, promptly: the test's time
// limit catches a hang.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "DriverFixture.h"
#include "LogCapture.h"

namespace {

// A UDP socket on a free loopback port that reads what arrives and never answers.
struct SilentPort {
  int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  std::string port;
  SilentPort() {
    sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_TRUE(fd >= 0 && ::bind(fd, generic, size) == 0 &&
                ::getsockname(fd, generic, &size) == 0);
    port = std::to_string(ntohs(address.sin_port));
  }
  ~SilentPort() { ::close(fd); }
  int Drain() {  // datagrams that arrived since the last call
    int count = 0;
    pollfd p{fd, POLLIN, 0};
    for (char buffer[512]; ::poll(&p, 1, 0) > 0 && ::recv(fd, buffer, sizeof buffer, 0) >= 0;)
      ++count;
    return count;
  }
};

class FreeIpmiLibrary : public ImbTest::DriverFixture {
 protected:
  FreeIpmiLibrary() : DriverFixture(QUARNAPI_PATH) {}
  bool Logged(const std::string& text) const {
    const auto& records = log_.Records();
    return std::any_of(records.begin(), records.end(),
                       [&](const LogRecord& r) { return r.text.find(text) != std::string::npos; });
  }
  TestSupport::LogCapture log_;
};

const std::string kOpenFailed = ImbTest::Failed(IMB_STATUS_OPEN_FAILED);

TEST_F(FreeIpmiLibrary, UnreachableControllersFailToOpenPromptly) {
  std::string closedPort = SilentPort().port;  // closed again at once
  for (const char* interface : {"lan", "lanplus"}) {
    Configure(std::string("Interface=") + interface + "\nHost=127.0.0.1\nPort=" + closedPort +
              "\nUser=admin\nPassword=pw\nTimeoutMs=300\n");
    EXPECT_EQ(Send("06 01"), kOpenFailed) << interface;
  }
  // TimeoutMs 300: resent after 30 ms of silence, given up after 120 (half the bound, or less).
  EXPECT_TRUE(Logged("no reply from 127.0.0.1:" + closedPort + " within 120 ms"));

  // A failed session is opened again by the next request, not remembered as dead.
  SilentPort silent;
  Configure("Interface=lanplus\nHost=127.0.0.1\nPort=" + silent.port + "\nTimeoutMs=300\n");
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_EQ(Send("06 01"), kOpenFailed);
    EXPECT_GT(silent.Drain(), 0) << "nothing reached the configured port on attempt " << attempt;
  }

  Configure("Interface=inband\nDevice=" + dir_.Path() + "/ipmi0\n");
  EXPECT_EQ(Send("06 01"), kOpenFailed);
  EXPECT_TRUE(Logged(dir_.Path() + "/ipmi0"));
}

// The caller's timeoutMs bounds the call when it is shorter than TimeoutMs; the session waits
// half of it, to the millisecond, and the reason is there to be asked for.
TEST_F(FreeIpmiLibrary, ACallWaitsWithinItsBoundAndSaysWhy) {
  const auto lastError = reinterpret_cast<GetImbpLastErrorFn>(library_.Symbol("GetImbpLastError"));
  ASSERT_NE(lastError, nullptr);
  SilentPort silent;
  Configure("Interface=lanplus\nHost=127.0.0.1\nPort=" + silent.port + "\nTimeoutMs=1000\n");
  // The call's bound: the silence waited (TimeoutMs 1000 waits 100 ms before the first resend).
  for (const auto& [bound, silence] : {std::pair{400, 200}, std::pair{0, 400}}) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Send("06 01", bound), kOpenFailed);
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
                          std::chrono::steady_clock::now() - start)
                          .count();
    EXPECT_TRUE(took >= silence - 5 && took < silence + 100) << bound << ": " << took << " ms";
    char text[200];
    const int length = lastError(text, sizeof text);
    const std::string expected = "no reply from 127.0.0.1:" + silent.port + " within " +
                                 std::to_string(silence) + " ms: is [BMC] Host/Port right";
    EXPECT_EQ(std::string(text).substr(0, expected.size()), expected);
    EXPECT_GT(length, static_cast<int>(expected.size()));
    EXPECT_EQ(lastError(text, 5), length) << "a short buffer gets a cut copy, not less length";
    EXPECT_EQ(std::string(text), expected.substr(0, 4));
  }
  Configure("Interface=serial\n");
  Send("06 01");
  char text[100];
  EXPECT_GT(lastError(text, sizeof text), 0);
  EXPECT_EQ(std::string(text).rfind("[BMC] Interface", 0), 0U) << text;
}

TEST_F(FreeIpmiLibrary, BadSettingsAndArgumentsAreRefused) {
  Configure("Interface=serial\n");
  EXPECT_EQ(Send("06 01"), ImbTest::Failed(IMB_STATUS_NOT_CONFIGURED));
  EXPECT_TRUE(Logged("[BMC] Interface = \"serial\""));
  EXPECT_EQ(Send("07 01"), ImbTest::Failed(IMB_STATUS_INVALID_ARGUMENT));
  EXPECT_EQ(select_("serial", nullptr, nullptr, nullptr), 0);
  uint8_t data[IMB_MAX_RESPONSE_DATA_LENGTH], code = 0;
  int length = 0;
  EXPECT_EQ(send_(nullptr, 0, data, &length, &code), IMB_STATUS_INVALID_ARGUMENT);
  const auto async =
      reinterpret_cast<GetAsyncImbpMessageFn>(library_.Symbol("GetAsyncImbpMessage"));
  uint32_t messageLength = 65540, sequence = 1;
  EXPECT_EQ(async(data, &messageLength, 0, &sequence, 0), IMB_STATUS_NO_MESSAGE);
  EXPECT_EQ(messageLength, 0U);
  EXPECT_EQ(async(nullptr, &messageLength, 0, &sequence, 0), IMB_STATUS_INVALID_ARGUMENT);
}

}  // namespace
