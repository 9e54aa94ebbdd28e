// Marshalling between the C interface and raw IPMI messages: what a request becomes, which
// requests are refused before anything is read, and the bound on what reaches the caller.

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "imb_request.h"

namespace {

using namespace Ordix::Imb;
using Bytes = std::vector<uint8_t>;

ImbRequest Request(uint8_t netFn, uint8_t command, Bytes* data, uint8_t address = 0x20) {
  ImbRequest r{};
  r.cmdType = command;
  r.rsSa = address;
  r.netFn = netFn;
  r.data = data != nullptr ? data->data() : nullptr;
  r.dataLength = data != nullptr ? static_cast<uint32_t>(data->size()) : 0;
  return r;
}

TEST(ImbRequestMarshalling, RequestsBecomeRawMessages) {
  Bytes data = {0x00, 0x00, 0x34, 0x12, 0x00, 0xFF};
  RawRequest raw;
  ASSERT_EQ(BuildRawRequest(Request(0x0A, 0x43, &data), raw), IMB_STATUS_SUCCESS);
  EXPECT_EQ(raw.netFn, 0x0A);
  EXPECT_EQ(raw.Message(), (Bytes{0x43, 0x00, 0x00, 0x34, 0x12, 0x00, 0xFF}));
  EXPECT_FALSE(raw.Bridged());

  ImbRequest bridged = Request(0x06, 0x01, nullptr, 0x2C);
  bridged.busType = 7;
  bridged.rsLun = 2;
  ASSERT_EQ(BuildRawRequest(bridged, raw), IMB_STATUS_SUCCESS);
  EXPECT_TRUE(raw.Bridged());
  EXPECT_EQ(raw.channel, 7);
  EXPECT_EQ(raw.lun, 2);
  EXPECT_EQ(raw.Message(), Bytes{0x01});
}

TEST(ImbRequestMarshalling, MalformedRequestsAreRefused) {
  RawRequest raw;
  ImbRequest r = Request(0x06, 0x01, nullptr);
  r.dataLength = 0xFFFFFFFF;  // with a null pointer: refused by length, never read
  EXPECT_EQ(BuildRawRequest(r, raw), IMB_STATUS_INVALID_ARGUMENT);
  r.dataLength = 1;
  EXPECT_EQ(BuildRawRequest(r, raw), IMB_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(BuildRawRequest(Request(0x07, 0x01, nullptr), raw), IMB_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(BuildRawRequest(Request(0x40, 0x01, nullptr), raw), IMB_STATUS_INVALID_ARGUMENT);
  r = Request(0x06, 0x01, nullptr);
  r.rsLun = 4;
  EXPECT_EQ(BuildRawRequest(r, raw), IMB_STATUS_INVALID_ARGUMENT);
}

struct Output {
  std::array<uint8_t, 80> data;
  int length = -1;
  uint8_t code = 0xEE;
  Output() { data.fill(0xAA); }
  int Decode(uint8_t command, const Bytes& raw) {
    return DecodeRawResponse(command, raw.data(), raw.size(), data.data(), &length, &code);
  }
};

TEST(ImbRequestMarshalling, OnlyWellFormedAnswersReachTheCallerWithinTheBound) {
  Output out;
  ASSERT_EQ(out.Decode(0x01, {0x01, 0x00, 0x20, 0x81}), IMB_STATUS_SUCCESS);
  EXPECT_EQ(out.length, 2);
  EXPECT_EQ(out.code, 0x00);
  EXPECT_EQ(out.data[0], 0x20);
  EXPECT_EQ(out.data[1], 0x81);
  EXPECT_EQ(out.data[2], 0xAA);

  // A completion code other than 0 is an answer, not a failure.
  ASSERT_EQ(out.Decode(0x2D, {0x2D, 0xCB}), IMB_STATUS_SUCCESS);
  EXPECT_EQ(out.length, 0);
  EXPECT_EQ(out.code, 0xCB);

  Bytes full = {0x43, 0x00};
  full.resize(2 + IMB_MAX_RESPONSE_DATA_LENGTH, 0x11);
  Output fits;
  ASSERT_EQ(fits.Decode(0x43, full), IMB_STATUS_SUCCESS);
  EXPECT_EQ(fits.length, IMB_MAX_RESPONSE_DATA_LENGTH);
  EXPECT_EQ(fits.data[IMB_MAX_RESPONSE_DATA_LENGTH - 1], 0x11);
  EXPECT_EQ(fits.data[IMB_MAX_RESPONSE_DATA_LENGTH], 0xAA);

  full.push_back(0x11);
  Output tooLong;
  EXPECT_EQ(tooLong.Decode(0x43, full), IMB_STATUS_RESPONSE_TOO_LONG);
  EXPECT_EQ(tooLong.data[0], 0xAA);
  EXPECT_EQ(tooLong.code, 0xEE);

  // Too short to hold a completion code, or the answer to another command.
  EXPECT_EQ(tooLong.Decode(0x01, {0x01}), IMB_STATUS_BAD_RESPONSE);
  EXPECT_EQ(tooLong.Decode(0x01, {0x02, 0x00, 0x20}), IMB_STATUS_BAD_RESPONSE);
  EXPECT_EQ(tooLong.data[0], 0xAA);
}

}  // namespace
