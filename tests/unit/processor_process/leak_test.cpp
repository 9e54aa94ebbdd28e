// Inventory and usage queries through the data manager leave nothing running or open behind
// them: the workers they start (threads, their events) are all gone when the answer is back.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <new>
#include <set>
#include <stdexcept>
#include <string>

#include "FakeSiblings.h"
#include "PlatformConfigMgr.h"
#include "SimulatedServer.h"

namespace {

using namespace Module::PlatformConfig;

constexpr const char* kInfo = "/Platform/ProcessorInfo";

// Entries of /proc/self/task (the threads) or /proc/self/fd (the open descriptors).
size_t Entries(const char* dir) {
  size_t n = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(dir)) ++n;
  return n;
}

struct Counts {
  size_t threads = Entries("/proc/self/task");
  size_t descriptors = Entries("/proc/self/fd");
};

// This machine's processor packages, as sysfs numbers them.
size_t MachinePackages() {
  std::set<std::string> ids;
  for (const auto& cpu : std::filesystem::directory_iterator("/sys/devices/system/cpu")) {
    std::ifstream in(cpu.path() / "topology" / "physical_package_id");
    std::string id;
    if (in >> id) ids.insert(id);
  }
  return ids.size();
}

// A board of the family whose BMC watches sockets with sensors 90h-93h (throttling C0h-C3h),
// with as many fitted sockets as this machine has packages, so that every package is
// identified by its workers. What is open while the workers run (the status reads come after
// identification, before they stop) is counted in `during`.
struct Board {
  explicit Board(int sockets) : smbios(std::vector<std::string>(sockets, "Populated: Yes")) {
    for (int s = 0; s < 4; ++s) {
      const int present = s < sockets ? 0x80 : 0x00;
      bmc.events[0x90 + s] = {0xC0, present};
      bmc.readings[0x90 + s] = {0x00, 0xC0, present};
      bmc.events[0xC0 + s] = {0x00};  // throttling not reported
    }
    bmc.onQuery = [this](int sensor) {
      if (sensor >= 0xC0) during = Counts();
    };
  }
  ProcessorTest::FakeSockets smbios;
  ProcessorTest::FakeSensors bmc;
  Counts during{0, 0};
};

std::string Value(const ResultMap& r, const std::string& path) {
  auto it = r.find(path);
  return it == r.end() ? "<absent>" : it->second.list.empty() ? "<empty>" : it->second.list[0];
}

// Inventory and usage queries leave nothing of their workers behind, also when an error
// escapes while the workers run (out of a status read): memory running out, which is error
// 1006, or anything else a sibling module throws.
TEST(ProcessorQueries, LeaveNoWorkerEventOrDescriptorBehind) {
  PlatformTest::SimulatedServer server("board-table-hit");
  const size_t packages = MachinePackages();
  Board board(static_cast<int>(packages < 4 ? packages : 4));
  PlatformConfigMgr mgr("");
  const Counts before;
  size_t workers = 0;
  const std::string usage = std::string(kInfo) + "/LogicalProcessor[0]";
  for (const std::string& query : {std::string(kInfo), usage}) {
    for (const std::string fault : {"", "1006", "sibling failure", ""}) {
      board.during = Counts{0, 0};
      board.bmc.onQuery = [&](int sensor) {
        if (sensor < 0xC0) return;
        board.during = Counts();
        if (fault == "1006") throw std::bad_alloc();
        if (!fault.empty()) throw std::runtime_error(fault);
      };
      std::string thrown;
      ResultMap result;
      try {
        mgr.ResolveQuery(query, result);
      } catch (const ResultStatus& status) {
        thrown = std::to_string(status.GetCode());
      } catch (const std::runtime_error& error) {
        thrown = error.what();
      }
      const Counts after;
      const std::string round = query + " " + fault;
      EXPECT_EQ(thrown, fault) << round;
      if (workers == 0) {
        const std::string text = Value(result, std::string(kInfo) + "/NumberOfLogicalProcessor");
        workers = std::strtoul(text.c_str(), nullptr, 10);
        ASSERT_GT(workers, 0u) << text;
        if (packages <= 4) {  // every package identified: its worker was asked
          EXPECT_NE(Value(result, std::string(kInfo) + "/PhysicalProcessorInfo[1]/ProcessorType"),
                    "<absent>");
        }
      }
      if (query == usage && fault.empty()) {
        EXPECT_NE(Value(result, usage), "ERROR_GET_LOGICAL_PROCESSOR_USAGE");
      }
      // Seen while the workers ran: a thread and two events each.
      EXPECT_GE(board.during.threads, before.threads + workers) << round;
      EXPECT_GE(board.during.descriptors, before.descriptors + 2 * workers) << round;
      EXPECT_EQ(after.threads, before.threads) << round;
      EXPECT_EQ(after.descriptors, before.descriptors) << round;
    }
  }
}

}  // namespace
