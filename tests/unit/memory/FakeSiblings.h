#pragma once
// Scripted answers of the BIOS and BMC modules for the memory component: memory arrays
// described in a few lines, sensor replies and event-log records by the bytes that matter.
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "BIOSConfigModule.h"
#include "BMCConfigModule.h"
#include "PlatformConfigMgr.h"
#include "ResultStatus.h"

namespace MemoryTest {

using Module::BIOSConfig::BIOSConfigModule;
using Module::BMCConfig::BMCConfigModule;

struct Device {
  std::string locator;
  std::string size = "8192";
};

// count devices named prefix0, prefix1, ...
inline std::vector<Device> Devices(const std::string& prefix, int count) {
  std::vector<Device> devices;
  for (int d = 0; d < count; ++d) devices.push_back({prefix + std::to_string(d)});
  return devices;
}
struct Array {
  std::vector<Device> devices;
  bool answersDeviceCount = true;  // with claimedDevices, else the number of its devices
  long long claimedDevices = -1;
};

// The array count ("" unanswered), and per array its device count, error correction (naming
// the array), its list of devices (@children) and per device its size and locator; nothing
// else is answered.
class FakeSmbios {
 public:
  FakeSmbios(const std::string& arrayCount, const std::vector<Array>& arrays) {
    if (!arrayCount.empty()) leaves_["/SMBIOS/MemoryArray/TotalNoOfArray"] = arrayCount;
    for (size_t a = 0; a < arrays.size(); ++a) {
      const std::string array = "/SMBIOS/MemoryArray[" + std::to_string(a + 1) + "]";
      if (arrays[a].answersDeviceCount) {
        const long long claimed = arrays[a].claimedDevices;
        leaves_[array + "/NumMemoryDevices"] = std::to_string(
            claimed >= 0 ? claimed : static_cast<long long>(arrays[a].devices.size()));
      }
      leaves_[array + "/MemoryErrorCorrection"] = "Multi-bit ECC " + std::to_string(a + 1);
      std::vector<std::string>& children = children_[array];
      children = {array + "/MemoryErrorCorrection", array + "/NumMemoryDevices"};
      for (size_t d = 0; d < arrays[a].devices.size(); ++d) {
        const std::string device = array + "/MemoryDevice[" + std::to_string(d + 1) + "]";
        children.push_back(device);
        leaves_[device + "/Size"] = arrays[a].devices[d].size;
        leaves_[device + "/DeviceLocator"] = arrays[a].devices[d].locator;
      }
    }
    previous_ = BIOSConfigModule::InstallAnswerSource([this](const std::string& q, ResultMap& a) {
      auto it = leaves_.find(q);
      if (it != leaves_.end()) a[q] = _XNode{XNODE_VALUE, {it->second}, {}};
      const std::string children = "/@children";
      if (q.size() > children.size() &&
          q.compare(q.size() - children.size(), children.size(), children) == 0) {
        const std::string element = q.substr(0, q.size() - children.size());
        auto listed = children_.find(element);
        if (listed != children_.end()) a[element] = _XNode{XNODE_ELEMENT, listed->second, {}};
      }
    });
  }
  ~FakeSmbios() { BIOSConfigModule::InstallAnswerSource(previous_); }
  FakeSmbios(const FakeSmbios&) = delete;
  FakeSmbios& operator=(const FakeSmbios&) = delete;

 private:
  std::map<std::string, std::string> leaves_;
  std::map<std::string, std::vector<std::string>> children_;
  BIOSConfigModule::AnswerSource previous_;
};

// Sensor replies by decimal sensor number, event-log records in log order; throws ResultStatus
// for a sensor whose reply is "throw". Remembers the queries it was asked.
class FakeBmc {
 public:
  FakeBmc() {
    previous_ = BMCConfigModule::InstallAnswerSource([this](const std::string& q, ResultMap& a) {
      asked.push_back(q);
      if (q == "/BMC/SEL/RECORD") {
        if (selFails) throw ResultStatus(2040, "no controller", q, XCOMMAND_NONE);
        for (size_t i = 0; i < sel.size(); ++i) {
          char key[48];
          std::snprintf(key, sizeof key, "/BMC/SEL/RECORD[%05zu]", i + 1);
          a[key] = _XNode{XNODE_VALUE, {sel[i]}, {}};
        }
        return;
      }
      int sensor = -1;
      if (std::sscanf(q.c_str(), "/BMC/SENSOR[%d]/VALUE", &sensor) != 1) return;
      auto it = replies.find(sensor);
      if (it == replies.end()) return;
      if (it->second == "throw") throw ResultStatus(2042, "cc=cb", q, XCOMMAND_NONE);
      a[q] = _XNode{XNODE_VALUE, {it->second}, {}};
    });
  }
  ~FakeBmc() { BMCConfigModule::InstallAnswerSource(previous_); }
  FakeBmc(const FakeBmc&) = delete;
  FakeBmc& operator=(const FakeBmc&) = delete;

  std::map<int, std::string> replies;
  std::vector<std::string> sel;
  bool selFails = false;
  std::vector<std::string> asked;

 private:
  BMCConfigModule::AnswerSource previous_;
};

// A Get SEL Entry reply (next ID, then the 16-byte record) with the given sensor type and
// event data 1, written as the BMC module writes it.
inline std::string SelRecord(int sensorType, int eventData1, int id = 1) {
  const int bytes[18] = {id + 1, 0, id, 0,          2,    0x10, 0x20,       0x30, 0x40,
                         0x20,   0, 4,  sensorType, 0xE0, 0x6F, eventData1, 0,    0xFF};
  std::string text;
  for (int b : bytes) {
    char hex[4];
    std::snprintf(hex, sizeof hex, "%x", b & 0xFF);
    text += (text.empty() ? "" : " ") + std::string(hex);
  }
  return text;
}

// The answer to query of a data manager made for it.
inline ResultMap Topology(const std::string& query = "/Platform/MemoryTopology") {
  Module::PlatformConfig::PlatformConfigMgr mgr("");
  ResultMap result;
  mgr.ResolveQuery(query, result);
  return result;
}

inline std::string Value(const ResultMap& result, const std::string& path) {
  auto it = result.find(path);
  if (it == result.end()) return "<absent>";
  return it->second.list.empty() ? "<empty>" : it->second.list.front();
}

// The path of leaf under slot n.
inline std::string Slot(int n, const std::string& leaf) {
  return "/Platform/MemoryTopology/MemoryInfo[" + std::to_string(n) + "]/" + leaf;
}

}  // namespace MemoryTest
