#pragma once
// Scripted answers of the BIOS and BMC modules for the memory component: memory arrays
// described in a few lines, sensor replies and event-log records by the bytes that matter.
#include <map>
#include <string>
#include <vector>

#include "BIOSConfigModule.h"
#include "BMCConfigModule.h"

namespace MemoryTest {

struct Device {
  std::string locator;
  std::string size = "8192";
};
struct Array {
  std::vector<Device> devices;
  std::string deviceCount = "";  // the array's device-count answer; "" = the number of devices
  bool answersDeviceCount = true;
};

// Leaves by path; "TypeDetail" of every device is an element with two "Yes" leaves.
class FakeSmbios {
 public:
  FakeSmbios(const std::string& arrayCount, const std::vector<Array>& arrays);
  ~FakeSmbios();
  FakeSmbios(const FakeSmbios&) = delete;
  FakeSmbios& operator=(const FakeSmbios&) = delete;

  std::map<std::string, std::string> leaves;

 private:
  Module::BIOSConfig::BIOSConfigModule::AnswerSource previous_;
};

// Sensor replies by decimal sensor number, event-log records in log order; throws ResultStatus
// for a sensor whose reply is "throw". Remembers the queries it was asked.
class FakeBmc {
 public:
  FakeBmc();
  ~FakeBmc();
  FakeBmc(const FakeBmc&) = delete;
  FakeBmc& operator=(const FakeBmc&) = delete;

  std::map<int, std::string> replies;
  std::vector<std::string> sel;
  bool selFails = false;
  std::vector<std::string> asked;

 private:
  Module::BMCConfig::BMCConfigModule::AnswerSource previous_;
};

// A Get SEL Entry reply (next ID, then the 16-byte record) with the given sensor type and
// event data 1, written as the BMC module writes it.
std::string SelRecord(int sensorType, int eventData1, int id = 1);

}  // namespace MemoryTest
