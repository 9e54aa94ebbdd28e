#pragma once
#include <string>
#include <vector>

#include "TempDir.h"

namespace TestSupport {

// A recorded machine for the OS information library, written from a short description.
struct FakeNic {
  std::string name;
  bool loopback;
  unsigned long long counters[6];  // tx bytes, packets, errors; rx bytes, packets, errors
};

struct FakeMachine {
  std::string meminfo =
      "MemTotal: 16777216 kB\nMemAvailable: 8388608 kB\nSwapTotal: 2097152 kB\n"
      "SwapFree: 1048576 kB\nCommitLimit: 10485760 kB\nCommitted_AS: 3145728 kB\n";
  std::vector<FakeNic> nics = {{"eth1", false, {1, 2, 3, 4, 5, 6}},
                               {"eth0", false, {10, 20, 30, 40, 50, 60}},
                               {"lo", true, {7, 7, 7, 7, 7, 7}}};
  std::vector<std::string> mountPoints = {"/", "/data"};  // each on its own block device
  std::string prettyName = "Test Linux 12 (fixture)";
  bool complete = true;  // false: no meminfo, os-release, network class or mount table
};

// Writes the machine under a temporary root and points the OS information library at it
// for the life of the object.
class FakeOsRoot {
 public:
  explicit FakeOsRoot(const FakeMachine& machine = FakeMachine());
  ~FakeOsRoot();

 private:
  TempDir dir_;
};

}  // namespace TestSupport
