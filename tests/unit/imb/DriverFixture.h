#pragma once
// A driver library loaded as the module loads it, with its own settings directory, spoken to
// in hex text.
#include <gtest/gtest.h>

#include <array>
#include <iomanip>
#include <sstream>

#include "Settings.h"
#include "TempDir.h"
#include "imb.h"
#include "sys/DynamicLibrary.h"

namespace ImbTest {

inline std::string Failed(int status) {
  return "status " + std::to_string(status);
}

class DriverFixture : public ::testing::Test {
 protected:
  explicit DriverFixture(const char* path) {
    std::string error;
    library_ = Sys::DynamicLibrary::Open(path, error);
    EXPECT_TRUE(library_.IsLoaded()) << error;
    send_ = reinterpret_cast<SendTimedImbpRequestFn>(library_.Symbol("SendTimedImbpRequest"));
    select_ = reinterpret_cast<SelectInterfaceFn>(library_.Symbol("SelectInterface"));
  }
  void SetUp() override { ASSERT_TRUE(send_ && select_); }
  void Configure(const std::string& bmc) {
    dir_.Write(Ordix::Settings::kFileName, "[BMC]\n" + bmc);
  }

  // "netFn command data..." to the BMC: "cc: data..." for an answer, Failed(status) otherwise.
  std::string Send(const std::string& request, int timeoutMs = 10000) {
    std::istringstream in(request);
    std::vector<uint8_t> bytes;
    for (unsigned byte; in >> std::hex >> byte;) bytes.push_back(static_cast<uint8_t>(byte));
    const auto size = static_cast<uint32_t>(bytes.size() - 2);
    ImbRequest r{bytes.at(1), IMB_BMC_SLAVE_ADDRESS, 0, bytes.at(0), 0, bytes.data() + 2, size};
    std::array<uint8_t, IMB_MAX_RESPONSE_DATA_LENGTH + 1> out{};
    int length = -1;
    uint8_t code = 0;
    const int status = send_(&r, timeoutMs, out.data(), &length, &code);
    EXPECT_EQ(out.back(), 0) << "written past the response bound";
    EXPECT_TRUE(status == IMB_STATUS_SUCCESS ? length >= 0 && length < int{out.size()}
                                             : length == 0)
        << "status " << status << ", length " << length;
    if (status != IMB_STATUS_SUCCESS) return Failed(status);
    std::ostringstream answer;
    answer << std::hex << std::setfill('0') << std::setw(2) << int{code} << ':';
    for (int i = 0; i < length && i < int{out.size()}; ++i)
      answer << ' ' << std::setw(2) << int{out[i]};
    return answer.str();
  }

  TestSupport::TempDir dir_;
  TestSupport::ScopedEnv configDir_{"ORDIX_CONFIG_DIR", dir_.Path()};
  Sys::DynamicLibrary library_;
  SendTimedImbpRequestFn send_ = nullptr;
  SelectInterfaceFn select_ = nullptr;
};

}  // namespace ImbTest
