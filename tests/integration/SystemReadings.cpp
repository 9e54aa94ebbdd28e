#include "SystemReadings.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "ToolRun.h"

namespace IntegrationTest {

namespace {

constexpr unsigned long kLoopbackFlag = 0x8;  // IFF_LOOPBACK in /sys/class/net/NAME/flags

std::string Unquote(std::string text) {
  if (text.size() >= 2 && (text.front() == '"' || text.front() == '\'') &&
      text.back() == text.front()) {
    return text.substr(1, text.size() - 2);
  }
  return text;
}

bool IsNumber(const std::string& text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool IsLoopback(const std::filesystem::path& interfaceDir) {
  std::ifstream in(interfaceDir / "flags");
  std::string flags;
  in >> flags;
  return !flags.empty() && (std::stoul(flags, nullptr, 16) & kLoopbackFlag) != 0;
}

}  // namespace

std::map<std::string, uint64_t> ReadMeminfo() {
  std::map<std::string, uint64_t> fields;
  std::ifstream in("/proc/meminfo");
  std::string name;
  uint64_t value = 0;
  std::string rest;
  while (in >> name >> value) {
    std::getline(in, rest);
    if (!name.empty() && name.back() == ':') name.pop_back();
    fields[name] = value;
  }
  return fields;
}

std::string OSPrettyName() {
  for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
      if (line.rfind("PRETTY_NAME=", 0) == 0) return Unquote(line.substr(12));
    }
  }
  return {};
}

std::vector<std::string> NonLoopbackInterfaces() {
  std::vector<std::string> names;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator("/sys/class/net", ec)) {
    if (!IsLoopback(entry.path())) names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

uint64_t InterfaceCounter(const std::string& name, const std::string& counter) {
  std::ifstream in("/sys/class/net/" + name + "/statistics/" + counter);
  uint64_t value = 0;
  in >> value;
  return value;
}

std::map<std::string, DfEntry> DfListing() {
  std::map<std::string, DfEntry> listing;
  std::istringstream lines(CommandOutput("df -B1 --output=source,target,size,avail 2>/dev/null"));
  std::string line;
  std::getline(lines, line);  // the heading
  while (std::getline(lines, line)) {
    // The source is the first word and the two figures are the last; the mount point is
    // everything between.
    std::istringstream words(line);
    std::vector<std::string> parts;
    for (std::string word; words >> word;) parts.push_back(word);
    if (parts.size() < 4 || !IsNumber(parts[parts.size() - 2]) || !IsNumber(parts.back())) {
      continue;
    }
    std::string target = parts[1];
    for (size_t i = 2; i + 2 < parts.size(); ++i) target += " " + parts[i];
    listing[target] = {parts[0], std::stoull(parts[parts.size() - 2]), std::stoull(parts.back())};
  }
  return listing;
}

}  // namespace IntegrationTest
