// Loading and unloading the driver, against a stub the loader really unmaps when its last
// reference goes: a request after an unload must still find it mapped.
#include "SimulatedServer.h"
#include "platform/ImbChannel.h"
#include "platform/PlatformImpl.h"

namespace {

std::vector<std::string> Exec(const std::string& request) {
  std::vector<std::string> response;
  Platform::PlatformImpl::execIPMICommand(request, response);
  return response;
}

// The loaded mark, not the library handle, gates sending.
TEST(DriverLifetime, LoadMarkGatesSendingAndUnloadingNeverStrandsTheEntryPoints) {
  PlatformTest::SimulatedServer server("board-table-hit");
  const std::vector<std::string> reply = {"0",  "20", "81", "5", "2",  "2",
                                          "bf", "57", "1",  "0", "3e", "0"};
  Platform::IpmiRequestBuffer request;
  request.netFn = 0x06;
  request.cmd = 0x01;
  Platform::IpmiResponseBuffer response;
  EXPECT_EQ(Platform::UnloadImbLibrary(), 0U);
  EXPECT_EQ(Platform::SendImbRequest(&request, &response), Platform::kImbStatusNotLoaded);
  EXPECT_FALSE(Platform::SelectInterface("lanplus", nullptr, nullptr, nullptr));
  ASSERT_EQ(Platform::LoadImbEntryPoints(), Platform::kImbStatusSuccess);
  EXPECT_EQ(Platform::SendImbRequest(&request, &response), Platform::kImbStatusNotLoaded);
  EXPECT_TRUE(Platform::SelectInterface("lanplus", nullptr, nullptr, nullptr));

  EXPECT_EQ(Exec("20 06 00 01"), reply);
  EXPECT_EQ(Platform::UnloadImbLibrary(), 0U);
  EXPECT_EQ(Platform::UnloadImbLibrary(), 0U);
  EXPECT_EQ(Exec("20 06 00 01"), reply);
  EXPECT_TRUE(Platform::SelectInterface("lan", nullptr, nullptr, nullptr));
  EXPECT_EQ(Platform::LoadImbLibrary(), Platform::kImbStatusSuccess);
}

}  // namespace
