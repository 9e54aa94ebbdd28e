#include "FakeOsRoot.h"

#include "OSInfo.h"

namespace TestSupport {

FakeOsRoot::FakeOsRoot(const FakeMachine& m) {
  Ordix::OSInfo::SetSourceRoot(dir_.Path());
  dir_.Write("etc/hosts", "127.0.0.1 localhost\n");
  if (!m.complete) return;
  dir_.Write("proc/meminfo", m.meminfo);
  dir_.Write("etc/os-release", "NAME=Test\nPRETTY_NAME=\"" + m.prettyName + "\"\n");
  const char* counterFiles[6] = {"tx_bytes", "tx_packets", "tx_errors",
                                 "rx_bytes", "rx_packets", "rx_errors"};
  for (const FakeNic& nic : m.nics) {
    const std::string base = "sys/class/net/" + nic.name + "/";
    dir_.Write(base + "type", nic.loopback ? "772\n" : "1\n");  // ARPHRD_LOOPBACK, ARPHRD_ETHER
    for (int i = 0; i < 6; ++i) {
      dir_.Write(base + "statistics/" + counterFiles[i], std::to_string(nic.counters[i]));
    }
  }
  std::string mountinfo = "22 1 0:21 / /proc rw - proc proc rw\n";
  for (size_t i = 0; i < m.mountPoints.size(); ++i) {
    const std::string device = "8:" + std::to_string(i);
    dir_.Write("sys/dev/block/" + device + "/dev", device);
    dir_.MakeDir(m.mountPoints[i].substr(1));
    mountinfo += std::to_string(30 + i) + " 1 " + device + " / " + m.mountPoints[i] +
                 " rw - ext4 /dev/sd" + static_cast<char>('a' + i) + " rw\n";
  }
  dir_.Write("proc/self/mountinfo", mountinfo);
}

FakeOsRoot::~FakeOsRoot() {
  Ordix::OSInfo::SetSourceRoot("");
}

}  // namespace TestSupport
