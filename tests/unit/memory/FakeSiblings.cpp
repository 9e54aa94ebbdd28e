#include "FakeSiblings.h"

#include <cstdio>

#include "ResultStatus.h"

namespace MemoryTest {

namespace {

std::string Hex(int value) {
  char text[8];
  std::snprintf(text, sizeof text, "%x", value & 0xFF);
  return text;
}

}  // namespace

FakeSmbios::FakeSmbios(const std::string& arrayCount, const std::vector<Array>& arrays) {
  if (!arrayCount.empty()) leaves["/SMBIOS/MemoryArray/TotalNoOfArray"] = arrayCount;
  for (size_t a = 0; a < arrays.size(); ++a) {
    const std::string array = "/SMBIOS/MemoryArray[" + std::to_string(a + 1) + "]";
    const Array& layout = arrays[a];
    if (layout.answersDeviceCount) {
      leaves[array + "/NumMemoryDevices"] =
          layout.deviceCount.empty() ? std::to_string(layout.devices.size()) : layout.deviceCount;
    }
    leaves[array + "/Location"] = "System Board Or Motherboard";
    leaves[array + "/MemoryErrorCorrection"] = "Multi-bit ECC " + std::to_string(a + 1);
    for (size_t d = 0; d < layout.devices.size(); ++d) {
      const std::string device = array + "/MemoryDevice[" + std::to_string(d + 1) + "]";
      leaves[device + "/MemoryArrayHandle"] = "0x100" + std::to_string(a);
      leaves[device + "/TotalWidth"] = "72";
      leaves[device + "/DataWidth"] = "64";
      leaves[device + "/Size"] = layout.devices[d].size;
      leaves[device + "/DeviceLocator"] = layout.devices[d].locator;
      leaves[device + "/BankLocator"] = "BANK " + std::to_string(d);
      leaves[device + "/MemoryType"] = "DDR4";
      leaves[device + "/Speed"] = std::to_string(2400 + d);
      leaves[device + "/TypeDetail/Synchronous"] = "Yes";
      leaves[device + "/TypeDetail/Registered"] = "Yes";
    }
  }
  previous_ = Module::BIOSConfig::BIOSConfigModule::InstallAnswerSource(
      [this](const std::string& query, ResultMap& answer) {
        const std::string typeDetail = "/TypeDetail";
        if (query.size() > typeDetail.size() &&
            query.compare(query.size() - typeDetail.size(), typeDetail.size(), typeDetail) == 0) {
          if (!leaves.count(query + "/Synchronous")) return;
          for (const char* name : {"/Synchronous", "/Registered"}) {
            answer[query].list.push_back(query + name);
            answer[query + name] = _XNode{XNODE_VALUE, {leaves[query + name]}, {}};
          }
          answer[query].kind = XNODE_ELEMENT;
          return;
        }
        auto it = leaves.find(query);
        if (it != leaves.end()) answer[query] = _XNode{XNODE_VALUE, {it->second}, {}};
      });
}

FakeSmbios::~FakeSmbios() {
  Module::BIOSConfig::BIOSConfigModule::InstallAnswerSource(previous_);
}

FakeBmc::FakeBmc() {
  previous_ = Module::BMCConfig::BMCConfigModule::InstallAnswerSource(
      [this](const std::string& query, ResultMap& answer) {
        asked.push_back(query);
        if (query == "/BMC/SEL/RECORD") {
          if (selFails) throw ResultStatus(2040, "no controller", query, XCOMMAND_NONE);
          for (size_t i = 0; i < sel.size(); ++i) {
            char key[48];
            std::snprintf(key, sizeof key, "/BMC/SEL/RECORD[%05zu]", i + 1);
            answer[key] = _XNode{XNODE_VALUE, {sel[i]}, {}};
          }
          return;
        }
        int sensor = -1;
        if (std::sscanf(query.c_str(), "/BMC/SENSOR[%d]/VALUE", &sensor) != 1) return;
        auto it = replies.find(sensor);
        if (it == replies.end()) return;
        if (it->second == "throw") throw ResultStatus(2042, "cc=cb", query, XCOMMAND_NONE);
        answer[query] = _XNode{XNODE_VALUE, {it->second}, {}};
      });
}

FakeBmc::~FakeBmc() {
  Module::BMCConfig::BMCConfigModule::InstallAnswerSource(previous_);
}

std::string SelRecord(int sensorType, int eventData1, int id) {
  const int bytes[18] = {id + 1, 0, id, 0,          2,    0x10, 0x20,       0x30, 0x40,
                         0x20,   0, 4,  sensorType, 0xE0, 0x6F, eventData1, 0,    0xFF};
  std::string text;
  for (int b : bytes) text += (text.empty() ? "" : " ") + Hex(b);
  return text;
}

}  // namespace MemoryTest
