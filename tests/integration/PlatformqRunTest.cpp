// The real platformq run as a child process against the real module, its answers checked
// against the machine's own figures read as an administrator would (no module code); and the
// tool's binding of the module, in process.

#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <sstream>
#include <tuple>
#include <utility>

#include "ModuleBinding.h"
#include "ResultStatus.h"
#include "TempDir.h"

namespace {

using Json = nlohmann::ordered_json;
using Texts = std::vector<std::string>;
using Readings = std::map<std::string, std::string>;

struct ToolResult {
  int exitStatus = -1;  // -1 when the tool did not exit normally (a signal, a sanitizer abort)
  std::string out, err;
};

// Standard output of a shell command line, whose exit status goes to *status.
std::string Shell(const std::string& commandLine, int* status = nullptr) {
  std::string output;
  FILE* pipe = ::popen(commandLine.c_str(), "r");
  char buffer[4096];
  for (size_t n; pipe && (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, n);
  const int wait = pipe ? ::pclose(pipe) : -1;
  if (status) *status = wait != -1 && WIFEXITED(wait) ? WEXITSTATUS(wait) : -1;
  return output;
}

ToolResult RunPlatformq(const Texts& args) {
  const TestSupport::TempDir dir;
  auto quote = [](const std::string& s) {
    return "'" + std::regex_replace(s, std::regex("'"), "'\\''") + "'";
  };
  // exec: the shell becomes the tool, so a crash shows as a signal, not as a shell status.
  std::string commandLine = "exec " + quote(PLATFORMQ_PATH);
  for (const std::string& arg : args) commandLine += " " + quote(arg);
  ToolResult run;
  run.out =
      Shell(commandLine + " 2>" + quote(dir.Path() + "/err") + " </dev/null", &run.exitStatus);
  std::ifstream err(dir.Path() + "/err");
  run.err.assign(std::istreambuf_iterator<char>(err), {});
  return run;
}

// What the answer to "/Platform/OS" should hold, path by path, in its units (MiB, GiB).
Readings ReadMachine() {
  const std::string os = "/Platform/OS/", nics = os + "NetworkInfo/";
  Readings r{{os + "MemoryInfo/Units", "MB"},
             {os + "Info/Type", "Linux"},
             {os + "DriveInfo/HardDisk/Units", "GB"}};
  std::map<std::string, uint64_t> kib;
  std::ifstream meminfo("/proc/meminfo");
  std::string field, rest;
  for (uint64_t value; meminfo >> field >> value && std::getline(meminfo, rest);)
    kib[field] = value;
  const uint64_t limit = kib["CommitLimit:"], committed = kib["Committed_AS:"];
  kib["headroom"] = limit > committed ? limit - committed : 0;  // 0 when overcommitted
  const char* const memory[][2] = {
      {"TotalMemory", "MemTotal:"},           {"FreeMemory", "MemAvailable:"},
      {"TotalPageFile", "SwapTotal:"},        {"FreePageFile", "SwapFree:"},
      {"TotalVirtualMemory", "CommitLimit:"}, {"FreeVirtualMemory", "headroom"}};
  for (auto [leaf, name] : memory) r[os + "MemoryInfo/" + leaf] = std::to_string(kib[name] / 1024);
  // The shell reads os-release as it is meant to be read: sourced.
  const char* const identity[][2] = {
      {"Version", "uname -r"},
      {"Build", "uname -v"},
      {"Machine", "uname -m"},
      {"HostName", "hostname -s"},
      {"Name",
       "if [ -e /etc/os-release ]; then . /etc/os-release; "
       "else . /usr/lib/os-release; fi; echo \"${PRETTY_NAME:-Linux}\""}};
  for (auto [leaf, command] : identity) {
    const std::string text = Shell(command);
    r[os + "Info/" + leaf] = text.substr(0, text.find('\n'));
  }
  // Adapters are the interfaces whose flags lack IFF_LOOPBACK, in name order.
  Texts names;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator("/sys/class/net", ec)) {
    unsigned long flags = 0;
    if (std::ifstream(entry.path() / "flags") >> std::hex >> flags && (flags & 0x8) == 0)
      names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  r[nics + "NumNICs"] = std::to_string(names.size());
  for (size_t k = 0; k < names.size(); ++k) {
    const std::string nic = nics + "NIC[" + std::to_string(k) + "]/";
    r[nic + "Name"] = names[k];
    const char* const counters[][2] = {
        {"TransmitBytes", "tx_bytes"},    {"TransmitPackets", "tx_packets"},
        {"TransmitErrors", "tx_errors"},  {"ReceiveBytes", "rx_bytes"},
        {"ReceivePackets", "rx_packets"}, {"ReceiveErrors", "rx_errors"}};
    for (auto [leaf, file] : counters) {
      uint64_t count = 0;
      std::ifstream("/sys/class/net/" + names[k] + "/statistics/" + file) >> count;
      r[nic + leaf] = std::to_string(count);
    }
  }
  return r;
}

// Figures that move by themselves are checked against readings taken before and after the
// run, widened by what other processes may allocate or write meanwhile.
TEST(OSAnswersTest, EveryFigureIsTheMachinesOwnReading) {
  Readings before = ReadMachine();
  const ToolResult run = RunPlatformq({"--format", "json", "/Platform/OS"});
  const Readings after = ReadMachine();
  ASSERT_EQ(run.exitStatus, 0) << run.err;
  Json answer;
  ASSERT_NO_THROW(answer = Json::parse(run.out)) << run.out;
  auto value = [&](const std::string& path) -> std::string {  // the leaf's one value
    const Json node = answer.value(path, Json::object());
    const bool leaf = node.value("kind", -1) == 0 && node.at("list").size() == 1;
    EXPECT_TRUE(leaf) << path << " is not a leaf with one value: " << node.dump();
    return leaf ? node["list"][0].get<std::string>() : "";
  };
  value("/Platform/OS/Info/Domain");  // possibly ""
  EXPECT_FALSE(answer.contains("/Platform/OS/NetworkInfo/NIC[" +
                               before.at("/Platform/OS/NetworkInfo/NumNICs") + "]/Name"));

  // Each drive is a mount point df lists, with df's sizes. The figures come first so that the
  // mount point, which may hold blanks, is the rest of the line.
  const std::string disks = "/Platform/OS/DriveInfo/HardDisk/";
  std::map<std::string, std::pair<uint64_t, uint64_t>> df;
  bool anyBlockDevice = false;
  std::error_code ec;
  std::istringstream listing(Shell("df -B1 --output=size,avail,source,target 2>/dev/null"));
  for (std::string line, source, target; std::getline(listing, line);) {
    std::istringstream in(line);
    uint64_t size, free;
    if (in >> size >> free >> source >> std::ws && std::getline(in, target)) {
      df[target] = {size, free};
      anyBlockDevice |= std::filesystem::is_block_file(source, ec);
    }
  }
  Texts ids;
  for (size_t k = 0; answer.contains(disks + "Drive[" + std::to_string(k) + "]/ID"); ++k) {
    const std::string drive = disks + "Drive[" + std::to_string(k) + "]/";
    ids.push_back(value(drive + "ID"));
    ASSERT_EQ(df.count(ids.back()), 1u) << ids.back() << " is not a mount point df lists";
    before[drive + "TotalSpace"] = std::to_string(df[ids.back()].first >> 30);
    before[drive + "FreeSpace"] = std::to_string(df[ids.back()].second >> 30);
  }
  before[disks + "NumDrives"] = std::to_string(ids.size());
  EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
  EXPECT_TRUE(!ids.empty() || !anyBlockDevice) << "df lists a file system on a block device";

  // How far a figure may move meanwhile, in its leaf's units.
  std::map<std::string, uint64_t> slack{{"FreeSpace", 1}};
  for (const char* leaf : {"FreeMemory", "FreePageFile", "TotalVirtualMemory", "FreeVirtualMemory"})
    slack[leaf] = 256;
  auto number = [](const std::string& text) -> std::optional<uint64_t> {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return {};
    return std::stoull(text);
  };
  for (const auto& [path, early] : before) {
    const std::string got = value(path), late = after.count(path) ? after.at(path) : early;
    const auto low = number(early), high = number(late), reported = number(got);
    if (!low || !high) {
      EXPECT_EQ(got, early) << path;
      continue;
    }
    ASSERT_TRUE(reported) << path << " is not a whole number: \"" << got << '"';
    const auto it = slack.find(path.substr(path.rfind('/') + 1));
    const uint64_t margin = it == slack.end() ? 0 : it->second;
    EXPECT_GE(*reported + margin, std::min(*low, *high)) << path;
    EXPECT_LE(*reported, std::max(*low, *high) + margin) << path;
  }
}

TEST(PlatformqCommandTest, OutputsAndExitStatuses) {
  const std::string units = "/Platform/OS/MemoryInfo/Units", info = "/Platform/OS/Info";
  const std::string unitsLine = R"({"/Platform/OS/MemoryInfo/Units":{"kind":0,"list":["MB"]}})"
                                "\n";
  std::string tree = info + "\n";
  for (const char* name : {"Version", "Build", "Domain", "HostName", "Machine", "Type", "Name"})
    tree += "  " + std::string(name) + "\n";
  for (const auto& [args, status, out, errPart] :
       std::vector<std::tuple<Texts, int, std::string, std::string>>{
           // An "@children" query shows the element and its child names only.
           {{info + "/@children"}, 0, tree, ""},
           // Repeated JSON rounds are one object per line.
           {{"--repeat", "3", "--interval", "10", "--format", "json", units},
            0,
            unitsLine + unitsLine + unitsLine,
            ""},
           // The answered query is still printed next to the unanswered one.
           {{units, "/Nowhere/Foo"}, 1, units + " = MB\n", "no module answers \"/Nowhere/Foo\"\n"},
           // The BIOS module answers from the image; a path it does not hold answers nothing.
           {{"--config-dir", SIM_DIR "/dual-socket-16dimm", "/BIOS/Foo"}, 1, "", ""},
           {{"--module", "/nonexistent", "/Platform/OS"}, 2, "", "cannot load module /nonexistent"},
           {{}, 64, "", "--help"},
           {{"--no-such-option", "/Platform/OS"}, 64, "", "--help"}}) {
    const ToolResult run = RunPlatformq(args);
    EXPECT_EQ(run.exitStatus, status) << run.err;
    EXPECT_EQ(run.out, out) << run.err;
    EXPECT_NE(run.err.find(errPart), std::string::npos) << run.err;
    EXPECT_TRUE(status != 64 || run.err.find('\n') == run.err.size() - 1) << "one line";
  }
}

TEST(ModuleBindingTest, AStatusTheModuleRaisesReachesTheCallerAndTheModuleStillAnswers) {
  ModuleHost::ModuleBinding module = ModuleHost::ModuleBinding::Load(PLATFORMCONFIG_MODULE_PATH);
  try {
    module.ProcessIntoText("/Platform/OS/MemoryInfo/Units", std::string());
    ADD_FAILURE() << "the module does not support the text form";
  } catch (const ResultStatus& status) {
    EXPECT_EQ(status.GetCode(), 1047);
    EXPECT_EQ(status.GetCommand(), XCOMMAND_PROCESS_XQUERY);
  }
  ResultMap result{{"/kept", {XNODE_VALUE, {"1"}, {}}}};
  module.Process("/Platform/OS/MemoryInfo/Units", result);
  EXPECT_EQ(result["/Platform/OS/MemoryInfo/Units"].list, std::vector<std::string>{"MB"});
  EXPECT_EQ(result.count("/kept"), 1u) << "the answer is added to what the map held";
  EXPECT_FALSE(module.Identity()) << "no query so far needed the platform identified";
}

}  // namespace
