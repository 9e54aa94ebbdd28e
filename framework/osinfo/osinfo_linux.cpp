// Gathers the raw text and system-call figures the decoders turn into reports. Every file is
// read under the process's source root, taken once per call so a concurrent change of root
// cannot mix two machines in one report.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "ErrorCodes.h"
#include "OSInfo.h"
#include "oslib/SourceRoot.h"
#include "osinfo_decode.h"

namespace {

namespace fs = std::filesystem;
using namespace Ordix::OSInfo;

constexpr const char* kMemInfoPath = "/proc/meminfo";
constexpr const char* kMountInfoPath = "/proc/self/mountinfo";
constexpr const char* kNetClassDir = "/sys/class/net";
constexpr const char* kBlockDeviceDir = "/sys/dev/block";
constexpr const char* kHostsPath = "/etc/hosts";
// os-release's lookup order: the second is read only when the first is absent.
constexpr std::array<const char*, 2> kOsReleasePaths = {"/etc/os-release", "/usr/lib/os-release"};

// Far above any real mount table, low enough that a runaway file cannot exhaust memory.
constexpr size_t kMaxFileBytes = size_t{64} << 20;
constexpr size_t kReadChunkBytes = 4096;

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

// The whole of a regular file, or nullopt. Opening without blocking and refusing anything
// but a regular file keeps a FIFO or device planted under a test root from hanging the
// caller; proc and sysfs files are regular files, though they report size 0.
std::optional<std::string> ReadFile(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat info {};
  if (file.get() < 0 || ::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) {
    return std::nullopt;
  }
  std::string text;
  std::array<char, kReadChunkBytes> chunk{};
  for (;;) {
    ssize_t got = ::read(file.get(), chunk.data(), chunk.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) return text;
    if (text.size() + static_cast<size_t>(got) > kMaxFileBytes) return std::nullopt;
    text.append(chunk.data(), static_cast<size_t>(got));
  }
}

// A NUL-terminated utsname field, bounded by its array in case the terminator is missing.
template <size_t N>
std::string FieldText(const char (&field)[N]) {
  return std::string(field, ::strnlen(field, N));
}

// Interfaces are the directories (in sysfs, links to them) of the class directory; plain
// files such as a bonding driver's control file are not interfaces.
std::optional<std::vector<std::string>> ListInterfaceNames(const std::string& dir) {
  std::error_code ec;
  fs::directory_iterator it(dir, ec);
  std::vector<std::string> names;
  while (!ec && it != fs::directory_iterator()) {
    std::error_code typeEc;
    if (it->is_directory(typeEc)) names.push_back(it->path().filename().string());
    it.increment(ec);
  }
  if (ec) return std::nullopt;
  return names;
}

InterfaceRecord ReadInterface(const std::string& netDir, const std::string& name) {
  const std::string base = netDir + "/" + name;
  const std::string stats = base + "/statistics/";
  InterfaceRecord record;
  record.name = name;
  record.typeText = ReadFile(base + "/type");
  record.counters = {ReadFile(stats + "tx_bytes"),   ReadFile(stats + "tx_packets"),
                     ReadFile(stats + "tx_errors"),  ReadFile(stats + "rx_bytes"),
                     ReadFile(stats + "rx_packets"), ReadFile(stats + "rx_errors")};
  return record;
}

// The entry is enough; in sysfs it is a link and need not be followed.
bool PathEntryExists(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0;
}

std::optional<FsSpace> QuerySpace(const std::string& path) {
  struct statvfs fs {};
  if (::statvfs(path.c_str(), &fs) != 0) return std::nullopt;
  return FsSpace{fs.f_blocks, fs.f_bavail, fs.f_frsize};
}

}  // namespace

int GetMemInfo(_MEMINFO& info) {
  info = {};
  std::optional<std::string> text = ReadFile(Ordix::OS::SourceRoot() + kMemInfoPath);
  if (!text) return ErrorCode::kOSMemoryUnreadable;
  MemInfoResult result = ParseMemInfo(*text);
  if (result.code == 0) info = std::move(result.info);
  return result.code;
}

// Names come from uname and the hosts file only: a resolver query can stall for as long as
// an unreachable name server takes to time out.
int GetOSInfo(_OSINFO& info) {
  info = {};
  struct utsname uts {};
  if (::uname(&uts) != 0) return ErrorCode::kOSIdentityUnreadable;
  UnameText fields{FieldText(uts.release), FieldText(uts.version), FieldText(uts.nodename),
                   FieldText(uts.machine)};
  std::string hosts = ReadFile(Ordix::OS::SourceRoot() + kHostsPath).value_or("");
  info = MakeOSInfo(fields, hosts);
  return 0;
}

int GetOSDisplayString(std::string& name) {
  name.clear();
  const std::string root = Ordix::OS::SourceRoot();
  for (const char* path : kOsReleasePaths) {
    if (std::optional<std::string> text = ReadFile(root + path)) {
      name = ParseOsReleasePrettyName(*text);
      return 0;
    }
  }
  return ErrorCode::kOSDisplayNameUnreadable;
}

int GetNICInfo(std::vector<_NICINFO>& nics) {
  nics.clear();
  const std::string netDir = Ordix::OS::SourceRoot() + kNetClassDir;
  std::optional<std::vector<std::string>> names = ListInterfaceNames(netDir);
  if (!names) return ErrorCode::kOSNetworkUnreadable;
  std::vector<InterfaceRecord> records;
  records.reserve(names->size());
  for (const std::string& name : *names) records.push_back(ReadInterface(netDir, name));
  nics = BuildNicList(records);
  return 0;
}

// Only block-device file systems are asked for their space, which also keeps statvfs away
// from network mounts whose server may never answer.
int GetDriveData(std::vector<_DRIVEINFO>& drives) {
  drives.clear();
  const std::string root = Ordix::OS::SourceRoot();
  std::optional<std::string> table = ReadFile(root + kMountInfoPath);
  if (!table) return ErrorCode::kOSDrivesUnreadable;
  const std::string blockDir = root + kBlockDeviceDir + "/";
  auto isBlockDevice = [&](const std::string& key) { return PathEntryExists(blockDir + key); };
  for (const MountEntry& mount : SelectDriveMounts(ParseMountInfo(*table), isBlockDevice)) {
    drives.push_back(MakeDriveInfo(mount.mountPoint, QuerySpace(root + mount.mountPoint)));
  }
  return 0;
}
