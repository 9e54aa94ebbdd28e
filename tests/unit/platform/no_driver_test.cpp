// The module when the library on the loader's path by the driver's name is not a library.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SimulatedServer.h"
#include "platform/ImbChannel.h"
#include "platform/PlatformImpl.h"

namespace {

using Platform::PlatformImpl;
using PlatformTest::Thrown;

// Every request tries the load again and fails the same way; so does identification.
TEST(WithoutDriver, EveryRequestFailsWith1026AndAnUnknownBoardStaysUnidentified) {
  PlatformTest::SimulatedServer server("unknown-board");
  for (int attempt = 0; attempt < 2; ++attempt) {
    std::vector<std::string> response;
    const auto status = Thrown([&] { PlatformImpl::execIPMICommand("20 06 00 01", response); });
    ASSERT_TRUE(status);
    EXPECT_EQ(status->GetCode(), 1026);
    EXPECT_EQ(status->GetDetail(), "20 06 00 01");
    EXPECT_TRUE(response.empty());
  }
  EXPECT_FALSE(Platform::SelectInterface("lanplus", nullptr, nullptr, nullptr));
  const auto status = Thrown([] { PlatformImpl::GetInstance(); });
  ASSERT_TRUE(status);
  EXPECT_EQ(status->GetCode(), 1026);
  EXPECT_EQ(PlatformImpl::GetInstance()->boardId, "R8800XQ");
  EXPECT_EQ(PlatformImpl::GetInstance()->family, "");
}

}  // namespace
