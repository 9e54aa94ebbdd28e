#pragma once
// Scripted answers of the BIOS and BMC modules for the processor component: processor sockets
// (SMBIOS type 4) and processor sensors.
#include <cstdio>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "BIOSConfigModule.h"
#include "BMCConfigModule.h"
#include "ResultStatus.h"
#include "TempDir.h"

namespace ProcessorTest {

using Bytes = std::vector<int>;
using Module::BIOSConfig::BIOSConfigModule;
using Module::BMCConfig::BMCConfigModule;

// Type 4 structures by their Status text; the other values name their socket.
class FakeSockets {
 public:
  explicit FakeSockets(std::vector<std::string> statuses) : statuses_(std::move(statuses)) {
    previous_ = BIOSConfigModule::InstallAnswerSource([this](const std::string& q, ResultMap& a) {
      if (q == "/SMBIOS/Type4/@children") {
        _XNode& node = a["/SMBIOS/Type4"];
        node.kind = XNODE_ELEMENT;
        for (size_t i = 1; i <= statuses_.size(); ++i)
          node.list.push_back("/SMBIOS/Type4[" + std::to_string(i) + "]");
        return;
      }
      size_t i = 0;
      char key[32] = {};
      if (std::sscanf(q.c_str(), "/SMBIOS/Type4[%zu]/%31s", &i, key) != 2) return;
      if (i < 1 || i > statuses_.size()) return;
      const std::string value = std::string(key) == "Status"
                                    ? statuses_[i - 1]
                                    : std::string(key) + " " + std::to_string(i);
      a[q] = _XNode{XNODE_VALUE, {value}, {}};
    });
  }
  ~FakeSockets() { BIOSConfigModule::InstallAnswerSource(previous_); }

 private:
  std::vector<std::string> statuses_;
  BIOSConfigModule::AnswerSource previous_;
};

// Sensor bytes by sensor number, answered in the BMC module's list form (value k is the
// reply from byte k on); a sensor without bytes is not answered, one listed in `failing`
// throws as a dead controller does. `onQuery` sees each sensor asked, as it is asked.
class FakeSensors {
 public:
  FakeSensors() {
    previous_ = BMCConfigModule::InstallAnswerSource([this](const std::string& q, ResultMap& a) {
      asked.push_back(q);
      int sensor = 0;
      char leaf[16] = {};
      if (std::sscanf(q.c_str(), "/BMC/SENSOR[%d]/%15[A-Z]", &sensor, leaf) != 2) return;
      if (onQuery) onQuery(sensor);
      if (failing.count(sensor)) throw ResultStatus(2040, "down", q, XCOMMAND_NONE);
      const auto& table = std::string(leaf) == "PROCEVENT" ? events : readings;
      auto it = table.find(sensor);
      if (it == table.end()) return;
      _XNode& node = a[q];
      for (size_t k = 0; k < it->second.size(); ++k) {
        std::string value;
        for (size_t i = k; i < it->second.size(); ++i) {
          char byte[4];
          std::snprintf(byte, sizeof byte, "%x", it->second[i]);
          value += (value.empty() ? "" : " ") + std::string(byte);
        }
        node.list.push_back(value);
      }
    });
  }
  ~FakeSensors() { BMCConfigModule::InstallAnswerSource(previous_); }

  std::map<int, Bytes> events, readings;
  std::set<int> failing;
  std::vector<std::string> asked;
  std::function<void(int sensor)> onQuery;

 private:
  BMCConfigModule::AnswerSource previous_;
};

// A recorded machine for the topology and /proc/stat readers: package p holds the CPUs
// packages[p].
struct RecordedTopology {
  RecordedTopology(const std::vector<std::vector<int>>& packages, const std::string& stat) {
    for (size_t p = 0; p < packages.size(); ++p) {
      for (int cpu : packages[p]) {
        dir.Write(
            "sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/physical_package_id",
            std::to_string(p) + "\n");
      }
    }
    dir.Write("proc/stat", stat);
  }
  TestSupport::TempDir dir;
  TestSupport::ScopedEnv root{"ORDIX_SYS_ROOT", dir.Path()};
};

}  // namespace ProcessorTest
