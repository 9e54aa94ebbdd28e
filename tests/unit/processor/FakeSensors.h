#pragma once
// Scripted processor sensors of the BMC module.
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "BMCConfigModule.h"
#include "ResultStatus.h"

namespace ProcessorTest {

using Bytes = std::vector<int>;
using Module::BMCConfig::BMCConfigModule;

// Sensor bytes by sensor number, answered in the BMC module's list form (value k is the
// reply from byte k on); a sensor without bytes is not answered, one listed in `failing`
// throws as a dead controller does.
class FakeSensors {
 public:
  FakeSensors() {
    previous_ = BMCConfigModule::InstallAnswerSource([this](const std::string& q, ResultMap& a) {
      asked.push_back(q);
      int sensor = 0;
      char leaf[16] = {};
      if (std::sscanf(q.c_str(), "/BMC/SENSOR[%d]/%15[A-Z]", &sensor, leaf) != 2) return;
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

 private:
  BMCConfigModule::AnswerSource previous_;
};

}  // namespace ProcessorTest
