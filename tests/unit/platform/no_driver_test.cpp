// The module when the library on the loader's path by the driver's name is not a library:
// every request tries the load again and fails the same way; so does identification.
#include "SimulatedServer.h"
#include "platform/ImbChannel.h"
#include "platform/PlatformImpl.h"

using Platform::PlatformImpl;

TEST(WithoutDriver, EveryRequestFailsWith1026AndAnUnknownBoardStaysUnidentified) {
  PlatformTest::SimulatedServer server("unknown-board");
  std::vector<std::string> response;
  for (int attempt = 0; attempt < 2; ++attempt) {
    const auto status =
        PlatformTest::Thrown([&] { PlatformImpl::execIPMICommand("20 06 00 01", response); });
    ASSERT_TRUE(status);
    EXPECT_EQ(status->GetCode(), 1026);
    EXPECT_EQ(status->GetDetail(), "20 06 00 01");
    EXPECT_TRUE(response.empty());
  }
  EXPECT_FALSE(Platform::SelectInterface("lanplus", nullptr, nullptr, nullptr));
  const auto status = PlatformTest::Thrown([] { PlatformImpl::GetInstance(); });
  ASSERT_TRUE(status);
  EXPECT_EQ(status->GetCode(), 1026);
  EXPECT_EQ(PlatformImpl::GetInstance()->boardId, "R8800XQ");
  EXPECT_EQ(PlatformImpl::GetInstance()->family, "");
}
