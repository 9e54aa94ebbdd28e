// Marshalling between the C interface and raw IPMI messages: what a request becomes, which are
// refused before anything is read, and the bound on what reaches the caller.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <tuple>
#include <vector>

#include "imb_request.h"

namespace {

using namespace Ordix::Imb;
using Bytes = std::vector<uint8_t>;

ImbRequest Request(uint8_t netFn, Bytes* data = nullptr, uint8_t lun = 0, uint8_t bus = 0,
                   uint8_t address = 0x20) {
  const uint32_t length = data ? static_cast<uint32_t>(data->size()) : 0;
  return {0x43, address, bus, netFn, lun, data ? data->data() : nullptr, length};
}

TEST(ImbRequestMarshalling, RequestsBecomeRawMessagesOrAreRefused) {
  Bytes data = {0x00, 0x00, 0x34, 0x12};
  RawRequest raw;
  ASSERT_EQ(BuildRawRequest(Request(0x0A, &data), raw), IMB_STATUS_SUCCESS);
  EXPECT_EQ(std::make_tuple(raw.netFn, raw.Bridged(), raw.Message()),
            std::make_tuple(0x0A, false, Bytes{0x43, 0x00, 0x00, 0x34, 0x12}));
  ASSERT_EQ(BuildRawRequest(Request(0x06, nullptr, 2, 7, 0x2C), raw), IMB_STATUS_SUCCESS);
  EXPECT_EQ(std::make_tuple(raw.Bridged(), raw.channel, raw.lun, raw.Message()),
            std::make_tuple(true, 7, 2, Bytes{0x43}));

  ImbRequest hugeNull = Request(0x06), shortNull = hugeNull;
  hugeNull.dataLength = 0xFFFFFFFF;  // refused by its length, never read
  shortNull.dataLength = 1;
  for (const ImbRequest& r :
       {hugeNull, shortNull, Request(0x07), Request(0x40), Request(6, 0, 4)}) {
    EXPECT_EQ(BuildRawRequest(r, raw), IMB_STATUS_INVALID_ARGUMENT) << int{r.netFn};
  }
}

TEST(ImbRequestMarshalling, OnlyWellFormedAnswersReachTheCallerWithinTheBound) {
  constexpr int kMax = IMB_MAX_RESPONSE_DATA_LENGTH;
  Bytes full(2 + kMax, 0x11), tooLong(3 + kMax, 0x11);
  full[0] = tooLong[0] = 0x43;
  full[1] = tooLong[1] = 0x00;
  const struct {
    uint8_t command;
    Bytes raw;
    int status, length, code;  // -1, 0xEE: left as they were
  } cases[] = {
      {0x01, {0x01, 0x00, 0x20, 0x81}, IMB_STATUS_SUCCESS, 2, 0x00},
      {0x2D, {0x2D, 0xCB}, IMB_STATUS_SUCCESS, 0, 0xCB},  // a completion code is an answer
      {0x43, full, IMB_STATUS_SUCCESS, kMax, 0x00},
      {0x43, tooLong, IMB_STATUS_RESPONSE_TOO_LONG, -1, 0xEE},
      {0x01, {0x01}, IMB_STATUS_BAD_RESPONSE, -1, 0xEE},
      {0x01, {0x02, 0x00, 0x20}, IMB_STATUS_BAD_RESPONSE, -1, 0xEE},  // another command's
  };
  for (const auto& c : cases) {
    std::array<uint8_t, kMax + 8> out;
    out.fill(0xAA);
    int length = -1;
    uint8_t code = 0xEE;
    EXPECT_EQ(DecodeRawResponse(c.command, c.raw.data(), c.raw.size(), out.data(), &length, &code),
              c.status);
    EXPECT_EQ(std::make_pair(length, int{code}), std::make_pair(c.length, c.code));
    const size_t written = static_cast<size_t>(std::max(c.length, 0));
    EXPECT_TRUE(std::equal(out.begin(), out.begin() + written, c.raw.begin() + 2));
    EXPECT_EQ(out[written], 0xAA) << "written beyond the answer";
  }
}

}  // namespace
