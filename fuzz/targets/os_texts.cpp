// The OS information library's and the processor layer's decoders of /proc, /sys and /etc
// texts. Every decoder reads the whole input as its file would be; the NIC list takes it as
// interface records of eight lines (name, type, six counters).

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzInput.h"
#include "TextParsers.h"
#include "osinfo_decode.h"

namespace {

using namespace Ordix::OSInfo;
namespace Posix = Sys::Posix;

constexpr size_t kMaxLines = 256;
constexpr size_t kNicRecordLines = 8;
constexpr unsigned kCpusAsked[] = {0, 1, 63, 4096};

void Numbers(std::string_view text) {
  const std::optional<uint64_t> value = ParseAttribute(text);
  if (!value) return;
  Fuzz::Require(ParseDecimal(std::to_string(*value)) == value, "a number reads back as itself");
  (void)KiBToMiBText(*value);
  (void)MakeDriveInfo("/", FsSpace{*value, *value / 2, *value});
}

void Identity(std::string_view text, const std::vector<std::string>& lines) {
  (void)ParseMemInfo(text);
  (void)ParseOsReleasePrettyName(text);
  const auto line = [&](size_t i) { return i < lines.size() ? lines[i] : std::string(); };
  (void)MakeOSInfo(UnameText{line(0), line(1), line(2), line(3)}, text);
}

void Nics(const std::vector<std::string>& lines) {
  std::vector<InterfaceRecord> records;
  for (size_t i = 0; i + kNicRecordLines <= lines.size(); i += kNicRecordLines) {
    records.push_back(
        {lines[i],
         lines[i + 1],
         {lines[i + 2], lines[i + 3], lines[i + 4], lines[i + 5], lines[i + 6], lines[i + 7]}});
  }
  Fuzz::Require(BuildNicList(records).size() <= records.size(), "at most one NIC per record");
}

void Drives(std::string_view text) {
  const std::vector<MountEntry> entries = ParseMountInfo(text);
  for (const MountEntry& entry : entries) {
    Fuzz::Require(!entry.mountPoint.empty() && entry.mountPoint.front() == '/' &&
                      entry.mountPoint.find('\0') == std::string::npos,
                  "a mount point is an absolute path without NUL");
  }
  // Any device with an even minor number is taken for a block device.
  const std::vector<MountEntry> drives = SelectDriveMounts(
      entries, [](const std::string& key) { return (key.back() - '0') % 2 == 0; });
  Fuzz::Require(std::is_sorted(drives.begin(), drives.end(),
                               [](const MountEntry& a, const MountEntry& b) {
                                 return a.mountPoint < b.mountPoint;
                               }),
                "drives come sorted by mount point");
  (void)DecodeMountField(text);
}

void ProcessorTexts(const std::string& text) {
  uint64_t mask = 0;
  (void)Posix::ParseCpuList(text, mask);
  unsigned cpu = 0;
  (void)Posix::ParseProcessorCounterPath(text, cpu);
  Posix::CpuTimes previous;
  bool havePrevious = false;
  for (const unsigned asked : kCpusAsked) {
    Posix::CpuTimes times;
    if (!Posix::ParseProcStatCpu(text, asked, times)) continue;
    double percent = 0;
    if (havePrevious && Posix::BusyPercent(previous, times, percent)) {
      Fuzz::Require(percent >= 0.0 && percent <= 100.0, "usage is a percentage");
    }
    previous = times;
    havePrevious = true;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::vector<std::string> lines = Fuzz::Lines(text, kMaxLines);
  Numbers(text);
  Identity(text, lines);
  Nics(lines);
  Drives(text);
  ProcessorTexts(text);
  return 0;
}
