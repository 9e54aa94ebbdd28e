#pragma once
// Decoders for the OS information library: text and numbers in, report fields out. Nothing
// here touches the machine, so each rule can be checked against hand-made or recorded text,
// garbage included. Every decoder accepts any input: unusable parts are skipped or reported,
// never read past.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OSInfo.h"

namespace Ordix::OSInfo {

// The text of a figure the machine did not give, or gave in a form that cannot be trusted.
inline constexpr const char* kUnknown = "Unknown";

// The device type the kernel gives loopback interfaces (ARPHRD_LOOPBACK).
inline constexpr uint64_t kLoopbackDeviceType = 772;

// ---- Numbers ---------------------------------------------------------------------------------

// Plain decimal digits (at least one) whose value fits in 64 bits; a sign, a blank or an
// overflowing value gives nullopt rather than a wrapped number.
std::optional<uint64_t> ParseDecimal(std::string_view text);

// A one-value attribute file as sysfs writes it: a decimal number, blanks and a newline
// allowed around it.
std::optional<uint64_t> ParseAttribute(std::string_view text);

// Kibibytes as whole mebibytes, rounded down.
std::string KiBToMiBText(uint64_t kib);

// count units of unitBytes each, as whole gibibytes rounded down; computed without overflow.
std::string ToGiBText(uint64_t count, uint64_t unitBytes);

// ---- Memory ----------------------------------------------------------------------------------

struct MemInfoResult {
  int code = 0;  // 0, or kOSMemoryMalformed
  _MEMINFO info;
};

// Decodes /proc/meminfo text.
MemInfoResult ParseMemInfo(std::string_view text);

// ---- Identity --------------------------------------------------------------------------------

// The uname fields the identity is built from.
struct UnameText {
  std::string release;
  std::string version;
  std::string nodename;
  std::string machine;
};

// The node name up to its first '.'.
std::string ShortHostName(std::string_view nodename);

// The domain of the first /etc/hosts line whose names include shortName: the text after the
// first '.' of that line's canonical (first) name. "" when no line names the host.
std::string DomainFromHosts(std::string_view hostsText, std::string_view shortName);

// The domain from the node name when it carries one, else from the hosts text.
std::string DomainOf(std::string_view nodename, std::string_view hostsText);

_OSINFO MakeOSInfo(const UnameText& uts, std::string_view hostsText);

// PRETTY_NAME of os-release text, or "Linux" when the text does not give one.
std::string ParseOsReleasePrettyName(std::string_view text);

// ---- Network interfaces ----------------------------------------------------------------------

// Raw text of the statistics files of one interface; nullopt where a file could not be read.
struct NicCounterTexts {
  std::optional<std::string> txBytes;
  std::optional<std::string> txPackets;
  std::optional<std::string> txErrors;
  std::optional<std::string> rxBytes;
  std::optional<std::string> rxPackets;
  std::optional<std::string> rxErrors;
};

struct InterfaceRecord {
  std::string name;
  std::optional<std::string> typeText;  // the interface's `type` file
  NicCounterTexts counters;
};

// True only when the type file says loopback; an unreadable or garbled one does not.
bool IsLoopbackType(const std::optional<std::string>& typeText);

// A counter as decimal text, or "Unknown" when the file was unreadable or not a number.
std::string CounterText(const std::optional<std::string>& fileText);

// The reported adapters: every record but loopbacks, sorted by name.
std::vector<_NICINFO> BuildNicList(const std::vector<InterfaceRecord>& records);

// ---- Drives ----------------------------------------------------------------------------------

struct MountEntry {
  uint32_t major = 0;
  uint32_t minor = 0;
  std::string mountPoint;  // escapes decoded
};

// "major:minor", the name of the device's entry under /sys/dev/block.
std::string DeviceKey(const MountEntry& entry);

// Undoes the octal escapes (\040 and the like) the kernel writes into mount table fields.
std::string DecodeMountField(std::string_view field);

// Decodes /proc/self/mountinfo text in table order; malformed lines are skipped.
std::vector<MountEntry> ParseMountInfo(std::string_view text);

// The first mount of each block device in table order, sorted by mount point.
// isBlockDevice is asked once per distinct device, with its DeviceKey.
std::vector<MountEntry> SelectDriveMounts(
    const std::vector<MountEntry>& entries,
    const std::function<bool(const std::string&)>& isBlockDevice);

// What statvfs says of a file system, in its fragment size.
struct FsSpace {
  uint64_t blocks = 0;
  uint64_t available = 0;  // blocks free to unprivileged users
  uint64_t fragmentSize = 0;
};

// nullopt space (statvfs failed) keeps the drive with "Unknown" sizes.
_DRIVEINFO MakeDriveInfo(const std::string& mountPoint, const std::optional<FsSpace>& space);

}  // namespace Ordix::OSInfo
