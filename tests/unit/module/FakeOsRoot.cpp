#include "FakeOsRoot.h"

#include "OSInfo.h"

namespace TestSupport {

namespace {

constexpr const char* kCounterFiles[6] = {"tx_bytes", "tx_packets", "tx_errors",
                                          "rx_bytes", "rx_packets", "rx_errors"};
constexpr int kLoopbackType = 772;
constexpr int kEthernetType = 1;
constexpr int kFirstBlockMajor = 8;

void WriteNics(const TempDir& dir, const std::vector<FakeNic>& nics) {
  dir.MakeDir("sys/class/net");
  for (const FakeNic& nic : nics) {
    const std::string base = "sys/class/net/" + nic.name + "/";
    dir.Write(base + "type", std::to_string(nic.loopback ? kLoopbackType : kEthernetType) + "\n");
    for (int i = 0; i < 6; ++i) {
      dir.Write(base + "statistics/" + kCounterFiles[i], std::to_string(nic.counters[i]) + "\n");
    }
  }
}

void WriteMounts(const TempDir& dir, const std::vector<std::string>& mountPoints) {
  std::string mountinfo = "22 1 0:21 / /proc rw - proc proc rw\n";
  int id = 30;
  for (size_t i = 0; i < mountPoints.size(); ++i) {
    const std::string device = std::to_string(kFirstBlockMajor) + ":" + std::to_string(i);
    dir.Write("sys/dev/block/" + device + "/dev", device + "\n");
    dir.MakeDir(mountPoints[i].substr(1));
    mountinfo += std::to_string(id++) + " 1 " + device + " / " + mountPoints[i] +
                 " rw,relatime - ext4 /dev/sd" + static_cast<char>('a' + i) + " rw\n";
  }
  dir.Write("proc/self/mountinfo", mountinfo);
}

}  // namespace

FakeOsRoot::FakeOsRoot(const FakeMachine& m) : previousRoot_(Ordix::OSInfo::SourceRoot()) {
  if (m.withMeminfo) dir_.Write("proc/meminfo", m.meminfo);
  if (m.withOsRelease)
    dir_.Write("etc/os-release", "NAME=Test\nPRETTY_NAME=\"" + m.prettyName + "\"\n");
  dir_.Write("etc/hosts", "127.0.0.1 localhost\n");
  if (m.withNet) WriteNics(dir_, m.nics);
  if (m.withMounts) WriteMounts(dir_, m.mountPoints);
  Ordix::OSInfo::SetSourceRoot(dir_.Path());
}

FakeOsRoot::~FakeOsRoot() {
  Ordix::OSInfo::SetSourceRoot(previousRoot_);
}

}  // namespace TestSupport
