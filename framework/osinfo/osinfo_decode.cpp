#include "osinfo_decode.h"

#include <algorithm>
#include <array>
#include <limits>
#include <set>
#include <utility>

#include "ErrorCodes.h"

namespace Ordix::OSInfo {

namespace {

// Products of two 64-bit figures (blocks times block size, bytes times 100) need the room.
__extension__ typedef unsigned __int128 Wide;

constexpr uint64_t kMaxU64 = std::numeric_limits<uint64_t>::max();
constexpr uint64_t kDecimalBase = 10;
constexpr uint64_t kKiBPerMiB = 1024;
constexpr unsigned kGiBShift = 30;
constexpr uint64_t kPercent = 100;
constexpr const char* kOsType = "Linux";
// os-release's own default for a missing PRETTY_NAME.
constexpr const char* kDefaultPrettyName = "Linux";
constexpr std::string_view kPrettyNameAssignment = "PRETTY_NAME=";
constexpr std::string_view kKiBUnit = "kB";

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
bool IsOctalDigit(char c) {
  return c >= '0' && c <= '7';
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// Calls fn on each line, without its '\n'; a last line without one counts too.
template <typename Fn>
void ForEachLine(std::string_view text, Fn&& fn) {
  while (!text.empty()) {
    size_t end = text.find('\n');
    fn(text.substr(0, end));
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

std::vector<std::string_view> SplitFields(std::string_view line) {
  std::vector<std::string_view> fields;
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && IsBlank(line[i])) ++i;
    size_t start = i;
    while (i < line.size() && !IsBlank(line[i])) ++i;
    if (i > start) fields.push_back(line.substr(start, i - start));
  }
  return fields;
}

std::string WideToText(Wide value) {
  return value > kMaxU64 ? std::string(kUnknown) : std::to_string(static_cast<uint64_t>(value));
}

// ---- Memory ----

struct MemFigures {
  std::optional<uint64_t> total, available, free, buffers, cached;
  std::optional<uint64_t> swapTotal, swapFree, commitLimit, committed;
};

using MemSlot = std::optional<uint64_t> MemFigures::*;

constexpr std::array<std::pair<std::string_view, MemSlot>, 9> kMemKeys{{
    {"MemTotal", &MemFigures::total},
    {"MemAvailable", &MemFigures::available},
    {"MemFree", &MemFigures::free},
    {"Buffers", &MemFigures::buffers},
    {"Cached", &MemFigures::cached},
    {"SwapTotal", &MemFigures::swapTotal},
    {"SwapFree", &MemFigures::swapFree},
    {"CommitLimit", &MemFigures::commitLimit},
    {"Committed_AS", &MemFigures::committed},
}};

MemSlot FindMemSlot(std::string_view key) {
  for (const auto& [name, slot] : kMemKeys) {
    if (name == key) return slot;
  }
  return nullptr;
}

// "   16318540 kB": the number, with or without its unit; any other unit is not kibibytes
// and so not a figure we can use.
std::optional<uint64_t> ParseKiBValue(std::string_view text) {
  text = Trim(text);
  size_t digits = 0;
  while (digits < text.size() && IsDigit(text[digits])) ++digits;
  std::string_view unit = Trim(text.substr(digits));
  if (!unit.empty() && unit != kKiBUnit) return std::nullopt;
  return ParseDecimal(text.substr(0, digits));
}

// Reads the figures we use; false when one of them is present but not a number. The kernel
// never repeats a key, so a repeat in damaged text is ignored and the first value stands.
bool ReadMemFigures(std::string_view text, MemFigures& figures) {
  bool wellFormed = true;
  ForEachLine(text, [&](std::string_view line) {
    size_t colon = line.find(':');
    if (colon == std::string_view::npos) return;
    MemSlot slot = FindMemSlot(line.substr(0, colon));
    if (slot == nullptr || (figures.*slot).has_value()) return;
    figures.*slot = ParseKiBValue(line.substr(colon + 1));
    if (!(figures.*slot).has_value()) wellFormed = false;
  });
  return wellFormed;
}

// Kernels before 3.14 give no MemAvailable; free plus buffers plus page cache is what they
// could hand back. When even those are missing the free figure stays unknown.
std::optional<Wide> AvailableKiB(const MemFigures& f) {
  if (f.available) return Wide{*f.available};
  if (f.free && f.buffers && f.cached) return Wide{*f.free} + *f.buffers + *f.cached;
  return std::nullopt;
}

std::string MiBOrUnknown(const std::optional<uint64_t>& kib) {
  return kib ? KiBToMiBText(*kib) : std::string(kUnknown);
}

// More available than installed only happens in damaged text; it reads as nothing in use.
std::string LoadPercent(uint64_t totalKiB, uint64_t availableKiB) {
  uint64_t used = totalKiB - std::min(totalKiB, availableKiB);
  return WideToText(Wide{used} * kPercent / totalKiB);
}

// Commit headroom; overcommitted systems report none rather than a negative figure.
std::string FreeVirtual(const MemFigures& f) {
  if (!f.commitLimit || !f.committed) return kUnknown;
  uint64_t left = *f.commitLimit > *f.committed ? *f.commitLimit - *f.committed : 0;
  return KiBToMiBText(left);
}

// ---- os-release ----

bool IsDoubleQuoteEscapable(char c) {
  return c == '"' || c == '\\' || c == '$' || c == '`';
}

// Copies a double-quoted run starting after its opening quote; returns the index after the
// closing quote, nullopt when the quote never closes on this line.
std::optional<size_t> ReadDoubleQuoted(std::string_view s, size_t i, std::string& out) {
  while (i < s.size()) {
    char c = s[i];
    if (c == '"') return i + 1;
    if (c == '\\' && i + 1 < s.size() && IsDoubleQuoteEscapable(s[i + 1])) {
      out += s[i + 1];
      i += 2;
      continue;
    }
    out += c;
    ++i;
  }
  return std::nullopt;
}

// One shell word as os-release values are written: single quotes, double quotes with
// backslash escapes, bare text with backslash escapes, any of them run together. nullopt
// for an unterminated word or one followed by anything but blanks or a comment, since a
// shell reading the file would not assign such a line as written.
std::optional<std::string> ParseShellWord(std::string_view s) {
  std::string out;
  size_t i = 0;
  while (i < s.size() && !IsBlank(s[i])) {
    char c = s[i];
    if (c == '\'') {
      size_t close = s.find('\'', i + 1);
      if (close == std::string_view::npos) return std::nullopt;
      out.append(s.substr(i + 1, close - i - 1));
      i = close + 1;
    } else if (c == '"') {
      std::optional<size_t> next = ReadDoubleQuoted(s, i + 1, out);
      if (!next) return std::nullopt;
      i = *next;
    } else if (c == '\\') {
      if (i + 1 >= s.size()) return std::nullopt;
      out += s[i + 1];
      i += 2;
    } else {
      out += c;
      ++i;
    }
  }
  std::string_view rest = Trim(s.substr(i));
  if (!rest.empty() && rest.front() != '#') return std::nullopt;
  return out;
}

// ---- Hosts ----

bool SameHostName(std::string_view a, std::string_view b) {
  auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; };
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [&](char x, char y) { return lower(x) == lower(y); });
}

// The text after the first '.', without the trailing '.' of a fully-qualified spelling.
std::string DomainAfterFirstDot(std::string_view name) {
  size_t dot = name.find('.');
  if (dot == std::string_view::npos) return "";
  std::string_view domain = name.substr(dot + 1);
  if (!domain.empty() && domain.back() == '.') domain.remove_suffix(1);
  return std::string(domain);
}

// ---- Mount table ----

// Field positions of a mountinfo line; optional fields follow the options, ended by "-".
constexpr size_t kDeviceField = 2;
constexpr size_t kMountPointField = 4;
constexpr size_t kFirstOptionalField = 6;
constexpr std::string_view kOptionalFieldsEnd = "-";
constexpr size_t kOctalEscapeDigits = 3;
constexpr unsigned kMaxByte = 0xFF;
constexpr unsigned kOctalBase = 8;

std::optional<std::pair<uint32_t, uint32_t>> ParseDeviceNumber(std::string_view text) {
  size_t colon = text.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  std::optional<uint64_t> major = ParseDecimal(text.substr(0, colon));
  std::optional<uint64_t> minor = ParseDecimal(text.substr(colon + 1));
  constexpr uint64_t kMaxPart = std::numeric_limits<uint32_t>::max();
  if (!major || !minor || *major > kMaxPart || *minor > kMaxPart) return std::nullopt;
  return std::make_pair(static_cast<uint32_t>(*major), static_cast<uint32_t>(*minor));
}

// An escape is a backslash and three octal digits naming a byte; anything else is literal.
std::optional<char> OctalEscapeAt(std::string_view field, size_t i) {
  if (field[i] != '\\' || i + kOctalEscapeDigits >= field.size()) return std::nullopt;
  unsigned value = 0;
  for (size_t k = 1; k <= kOctalEscapeDigits; ++k) {
    char digit = field[i + k];
    if (!IsOctalDigit(digit)) return std::nullopt;
    value = value * kOctalBase + static_cast<unsigned>(digit - '0');
  }
  if (value > kMaxByte) return std::nullopt;
  return static_cast<char>(static_cast<unsigned char>(value));
}

std::optional<MountEntry> ParseMountLine(std::string_view line) {
  std::vector<std::string_view> fields = SplitFields(line);
  if (fields.size() < kFirstOptionalField) return std::nullopt;
  auto end = std::find(fields.begin() + kFirstOptionalField, fields.end(), kOptionalFieldsEnd);
  // The file system type must follow the separator for the line to be whole.
  if (end == fields.end() || end + 1 == fields.end()) return std::nullopt;
  auto device = ParseDeviceNumber(fields[kDeviceField]);
  if (!device) return std::nullopt;
  std::string mountPoint = DecodeMountField(fields[kMountPointField]);
  // A NUL would cut the path short when handed to the system; a relative one means nothing.
  if (mountPoint.empty() || mountPoint.front() != '/' ||
      mountPoint.find('\0') != std::string::npos) {
    return std::nullopt;
  }
  return MountEntry{device->first, device->second, std::move(mountPoint)};
}

}  // namespace

// ---- Numbers ----

std::optional<uint64_t> ParseDecimal(std::string_view text) {
  if (text.empty()) return std::nullopt;
  uint64_t value = 0;
  for (char c : text) {
    if (!IsDigit(c)) return std::nullopt;
    uint64_t digit = static_cast<uint64_t>(c - '0');
    if (value > (kMaxU64 - digit) / kDecimalBase) return std::nullopt;
    value = value * kDecimalBase + digit;
  }
  return value;
}

std::optional<uint64_t> ParseAttribute(std::string_view text) {
  return ParseDecimal(Trim(text));
}

std::string KiBToMiBText(uint64_t kib) {
  return std::to_string(kib / kKiBPerMiB);
}

std::string ToGiBText(uint64_t count, uint64_t unitBytes) {
  return WideToText((Wide{count} * unitBytes) >> kGiBShift);
}

// ---- Memory ----

// Figures other than the total that the text lacks are reported as "Unknown" rather than
// guessed; only a missing, zero or unreadable total makes the whole report unusable.
MemInfoResult ParseMemInfo(std::string_view text) {
  MemFigures f;
  if (!ReadMemFigures(text, f) || !f.total || *f.total == 0) {
    return {ErrorCode::kOSMemoryMalformed, {}};
  }
  std::optional<Wide> available = AvailableKiB(f);
  if (available && *available > kMaxU64) return {ErrorCode::kOSMemoryMalformed, {}};
  std::optional<uint64_t> availableKiB;
  if (available) availableKiB = static_cast<uint64_t>(*available);

  MemInfoResult result;
  _MEMINFO& info = result.info;
  info.memoryLoad = availableKiB ? LoadPercent(*f.total, *availableKiB) : kUnknown;
  info.totalMemory = KiBToMiBText(*f.total);
  info.freeMemory = MiBOrUnknown(availableKiB);
  info.totalPageFile = MiBOrUnknown(f.swapTotal);
  info.freePageFile = MiBOrUnknown(f.swapFree);
  info.totalVirtualMemory = MiBOrUnknown(f.commitLimit);
  info.freeVirtualMemory = FreeVirtual(f);
  return result;
}

// ---- Identity ----

std::string ShortHostName(std::string_view nodename) {
  return std::string(nodename.substr(0, nodename.find('.')));
}

std::string DomainFromHosts(std::string_view hostsText, std::string_view shortName) {
  std::string domain;
  bool found = false;
  if (shortName.empty()) return domain;
  ForEachLine(hostsText, [&](std::string_view line) {
    if (found) return;
    std::vector<std::string_view> fields = SplitFields(line.substr(0, line.find('#')));
    // fields[0] is the address, fields[1] the canonical name, the rest aliases.
    for (size_t i = 1; i < fields.size() && !found; ++i) {
      found = SameHostName(fields[i], shortName);
    }
    if (found) domain = DomainAfterFirstDot(fields[1]);
  });
  return domain;
}

// "host." carries no domain, so the hosts file is asked as for a bare name.
std::string DomainOf(std::string_view nodename, std::string_view hostsText) {
  std::string fromNode = DomainAfterFirstDot(nodename);
  if (!fromNode.empty()) return fromNode;
  return DomainFromHosts(hostsText, ShortHostName(nodename));
}

_OSINFO MakeOSInfo(const UnameText& uts, std::string_view hostsText) {
  _OSINFO info;
  info.version = uts.release;
  info.build = uts.version;
  info.domain = DomainOf(uts.nodename, hostsText);
  info.hostName = ShortHostName(uts.nodename);
  info.machine = uts.machine;
  info.type = kOsType;
  return info;
}

// As when a shell sources the file, the last valid assignment wins. An empty name is as
// useless to show as a missing one, so it too gives the default.
std::string ParseOsReleasePrettyName(std::string_view text) {
  std::string name;
  ForEachLine(text, [&](std::string_view line) {
    line = Trim(line);
    if (line.substr(0, kPrettyNameAssignment.size()) != kPrettyNameAssignment) return;
    if (auto value = ParseShellWord(line.substr(kPrettyNameAssignment.size()))) name = *value;
  });
  return name.empty() ? std::string(kDefaultPrettyName) : name;
}

// ---- Network interfaces ----

bool IsLoopbackType(const std::optional<std::string>& typeText) {
  if (!typeText) return false;
  std::optional<uint64_t> type = ParseAttribute(*typeText);
  return type && *type == kLoopbackDeviceType;
}

std::string CounterText(const std::optional<std::string>& fileText) {
  std::optional<uint64_t> value = fileText ? ParseAttribute(*fileText) : std::nullopt;
  return value ? std::to_string(*value) : std::string(kUnknown);
}

std::vector<_NICINFO> BuildNicList(const std::vector<InterfaceRecord>& records) {
  std::vector<_NICINFO> nics;
  for (const InterfaceRecord& r : records) {
    if (IsLoopbackType(r.typeText)) continue;
    const NicCounterTexts& c = r.counters;
    nics.push_back({r.name, CounterText(c.txBytes), CounterText(c.txPackets),
                    CounterText(c.txErrors), CounterText(c.rxBytes), CounterText(c.rxPackets),
                    CounterText(c.rxErrors)});
  }
  std::sort(nics.begin(), nics.end(),
            [](const _NICINFO& a, const _NICINFO& b) { return a.name < b.name; });
  return nics;
}

// ---- Drives ----

std::string DeviceKey(const MountEntry& entry) {
  return std::to_string(entry.major) + ":" + std::to_string(entry.minor);
}

std::string DecodeMountField(std::string_view field) {
  std::string out;
  out.reserve(field.size());
  size_t i = 0;
  while (i < field.size()) {
    if (std::optional<char> byte = OctalEscapeAt(field, i)) {
      out += *byte;
      i += 1 + kOctalEscapeDigits;
    } else {
      out += field[i++];
    }
  }
  return out;
}

std::vector<MountEntry> ParseMountInfo(std::string_view text) {
  std::vector<MountEntry> entries;
  ForEachLine(text, [&](std::string_view line) {
    if (std::optional<MountEntry> entry = ParseMountLine(line)) entries.push_back(*entry);
  });
  return entries;
}

// Bind mounts and re-mounts of a device come after its first mount in the table, so the
// first one stands for the device. The sort is stable so two devices stacked on one mount
// point keep table order.
std::vector<MountEntry> SelectDriveMounts(
    const std::vector<MountEntry>& entries,
    const std::function<bool(const std::string&)>& isBlockDevice) {
  std::set<std::pair<uint32_t, uint32_t>> seen;
  std::vector<MountEntry> drives;
  for (const MountEntry& e : entries) {
    if (!seen.insert({e.major, e.minor}).second) continue;
    if (isBlockDevice(DeviceKey(e))) drives.push_back(e);
  }
  std::stable_sort(drives.begin(), drives.end(), [](const MountEntry& a, const MountEntry& b) {
    return a.mountPoint < b.mountPoint;
  });
  return drives;
}

_DRIVEINFO MakeDriveInfo(const std::string& mountPoint, const std::optional<FsSpace>& space) {
  if (!space) return {mountPoint, kUnknown, kUnknown};
  return {mountPoint, ToGiBText(space->blocks, space->fragmentSize),
          ToGiBText(space->available, space->fragmentSize)};
}

}  // namespace Ordix::OSInfo
