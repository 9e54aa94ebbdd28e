// The Windows sources as Windows (here Wine) answers them: the settings file through the
// profile API, the OS layer's topology and performance counters, the OS information, SMBIOS
// and EFI readers, and the module loaded by path with LoadLibraryW.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "BIOSConfigModule.h"
#include "OSInfo.h"
#include "PlatformConfigModule.h"
#include "ResultStatus.h"
#include "SMIProtocol.h"
#include "Settings.h"
#include "TempDir.h"
#include "sys/DynamicLibrary.h"
#include "sys/ProcessorTime.h"
#include "sys/ProcessorTopology.h"
#include "sys/SettingsFile.h"
#include "sys/Thread.h"

namespace {

using TestSupport::ScopedEnv;
using TestSupport::TempDir;

bool IsNumber(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(),
                                      [](unsigned char c) { return std::isdigit(c) != 0; });
}

std::string WindowsDirectory() {
  char buffer[MAX_PATH + 1] = {};
  const UINT n = ::GetWindowsDirectoryA(buffer, MAX_PATH);
  return std::string(buffer, n);
}

// ---- Settings -------------------------------------------------------------------------------

// The framework's reader and the module's (GetPrivateProfileIntA) read one file alike.
TEST(WindowsSettings, ProfileApiReadersAgreeOnTheConfiguredFile) {
  TempDir dir;
  ScopedEnv env("ORDIX_CONFIG_DIR", dir.Path());
  EXPECT_EQ(Ordix::Settings::Directory(), dir.Path());
  dir.Write(Ordix::Settings::kFileName,
            "[MSRObjectTimeouts]\r\nPollInterval = 25\r\nPollAttempts=030\r\n"
            "Bad=many\r\nNegative=-1\r\n[Logging]\r\nFile = C:\\logs\\platform.log\r\n");
  EXPECT_EQ(Ordix::Settings::GetInt("MSRObjectTimeouts", "PollInterval", 10), 25);
  EXPECT_EQ(Sys::GetSettingsInt("MSRObjectTimeouts", "PollInterval", 10), 25u);
  // Decimal, as the profile API reads: a leading 0 makes no octal.
  EXPECT_EQ(Ordix::Settings::GetInt("MSRObjectTimeouts", "PollAttempts", 50), 30);
  EXPECT_EQ(Sys::GetSettingsInt("MSRObjectTimeouts", "PollAttempts", 50), 30u);
  EXPECT_EQ(Ordix::Settings::GetInt("MSRObjectTimeouts", "Bad", 50), 50);
  EXPECT_EQ(Ordix::Settings::GetInt("msrobjecttimeouts", "pollinterval", 10), 25);  // any case
  EXPECT_EQ(Sys::GetSettingsInt("MSRObjectTimeouts", "Missing", 10), 10u);
  EXPECT_EQ(Sys::GetSettingsInt("MSRObjectTimeouts", "Negative", 10), 0xFFFFFFFFu);  // wraps
  EXPECT_EQ(Ordix::Settings::GetString("Logging", "File", ""), "C:\\logs\\platform.log");
  EXPECT_EQ(Ordix::Settings::GetString("Logging", "Level", "2"), "2");
  EXPECT_EQ(Ordix::Settings::GetString("Nowhere", "File", "stderr"), "stderr");
  // Read on every call.
  dir.Write(Ordix::Settings::kFileName, "[MSRObjectTimeouts]\nPollInterval=7\n");
  EXPECT_EQ(Sys::GetSettingsInt("MSRObjectTimeouts", "PollInterval", 10), 7u);
  EXPECT_EQ(Ordix::Settings::GetInt("MSRObjectTimeouts", "PollInterval", 10), 7);
}

// Without ORDIX_CONFIG_DIR the file named without a directory is the Windows directory's.
TEST(WindowsSettings, WithoutOverrideTheWindowsDirectoryHoldsTheFile) {
  ScopedEnv env("ORDIX_CONFIG_DIR", "");
  const std::string dir = WindowsDirectory();
  ASSERT_FALSE(dir.empty());
  EXPECT_EQ(Ordix::Settings::Directory(), dir);
  EXPECT_EQ(Ordix::Settings::FilePath(), dir + "\\OrdixServMgmtSettings.ini");
  // The machine's file, if any, is set aside and put back (this test runs alone: RUN_SERIAL).
  const std::string path = Ordix::Settings::FilePath();
  const std::string aside = path + ".windows_test";
  const bool existed = ::MoveFileExA(path.c_str(), aside.c_str(), MOVEFILE_REPLACE_EXISTING);
  EXPECT_EQ(Sys::GetSettingsInt("MSRObjectTimeouts", "PollAttempts", 50), 50u);
  EXPECT_TRUE(
      ::WritePrivateProfileStringA("MSRObjectTimeouts", "PollAttempts", "77", path.c_str()));
  EXPECT_EQ(Sys::GetSettingsInt("MSRObjectTimeouts", "PollAttempts", 50), 77u);
  EXPECT_EQ(Ordix::Settings::GetInt("MSRObjectTimeouts", "PollAttempts", 50), 77);
  ::DeleteFileA(path.c_str());
  if (existed) ::MoveFileExA(aside.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING);
}

// ---- OS layer -------------------------------------------------------------------------------

// Packages from GetLogicalProcessorInformation: disjoint masks that cover every processor the
// process may run on.
TEST(WindowsSys, PackagesCoverTheProcessAffinityMask) {
  uint64_t process = 0;
  uint64_t system = 0;
  ASSERT_TRUE(Sys::GetProcessAffinityMask(process, system));
  EXPECT_NE(process, 0u);
  EXPECT_EQ(process & ~system, 0u);
  std::vector<uint64_t> masks;
  ASSERT_EQ(Sys::GetProcessorPackageMasks(masks, 64), Sys::kPackagesOk);
  ASSERT_FALSE(masks.empty());
  uint64_t all = 0;
  for (uint64_t mask : masks) {
    EXPECT_NE(mask, 0u);
    EXPECT_EQ(all & mask, 0u) << "packages overlap";
    all |= mask;
  }
  EXPECT_EQ(process & ~all, 0u);
  std::vector<uint64_t> one;
  ASSERT_EQ(Sys::GetProcessorPackageMasks(one, 1), Sys::kPackagesOk);
  EXPECT_EQ(one, std::vector<uint64_t>{masks.front()});
}

// A thread pinned to each processor of the process in turn runs there.
TEST(WindowsSys, ThreadsArePinnedToTheirProcessor) {
  uint64_t process = 0;
  uint64_t system = 0;
  ASSERT_TRUE(Sys::GetProcessAffinityMask(process, system));
  for (unsigned bit = 0; bit < 64; ++bit) {
    const uint64_t mask = uint64_t{1} << bit;
    if ((process & mask) == 0) continue;
    struct Seen {
      uint64_t mask;
      DWORD processor = 0xFFFFFFFF;
    } seen{mask};
    Sys::Thread thread = Sys::Thread::Create(
        [](void* p) -> uint32_t {
          auto* s = static_cast<Seen*>(p);
          if (!Sys::SetCurrentThreadAffinity(s->mask)) return 1;
          s->processor = ::GetCurrentProcessorNumber();
          return 0;
        },
        &seen);
    ASSERT_TRUE(thread.IsValid());
    EXPECT_NE(thread.Id(), 0u);
    EXPECT_TRUE(thread.SetAffinity(mask));
    EXPECT_EQ(thread.Resume(), 0);  // already running
    for (int i = 0; i < 200 && seen.processor == 0xFFFFFFFF; ++i) ::Sleep(5);
    thread.Terminate(0);
    EXPECT_EQ(seen.processor, bit);
  }
}

// The total counter exists everywhere PDH does; per-processor instances are the system's
// (Wine has none, so the module's usage query reports its error key there: check_platformq).
TEST(WindowsSys, ProcessorTimeQueryThroughPdh) {
  Sys::ProcessorTimeQuery query;
  ASSERT_TRUE(query.Open());
  EXPECT_FALSE(query.AddCounter("\\NoSuchObject(0)\\% Nothing"));
  ASSERT_TRUE(query.AddCounter("\\Processor(_Total)\\% Processor Time"));
  EXPECT_TRUE(query.Collect());
  ::Sleep(100);
  EXPECT_TRUE(query.Collect());
  double percent = -1;
  ASSERT_TRUE(query.GetFormattedValue(percent));
  EXPECT_GE(percent, 0.0);
  EXPECT_LE(percent, 100.0);
  query.RemoveCounter();
  EXPECT_FALSE(query.GetFormattedValue(percent));
  query.Close();
  EXPECT_FALSE(query.Collect());
}

// ---- Framework readers ----------------------------------------------------------------------

TEST(WindowsOSInfo, MemoryIdentityAdaptersAndFixedDrives) {
  _MEMINFO memory;
  ASSERT_EQ(GetMemInfo(memory), 0);
  for (const std::string* field :
       {&memory.totalMemory, &memory.freeMemory, &memory.totalPageFile, &memory.freePageFile,
        &memory.totalVirtualMemory, &memory.freeVirtualMemory}) {
    EXPECT_TRUE(IsNumber(*field)) << *field;
  }
  EXPECT_LE(std::stoull(memory.freeMemory), std::stoull(memory.totalMemory));

  _OSINFO os;
  ASSERT_EQ(GetOSInfo(os), 0);
  EXPECT_NE(os.version.find('.'), std::string::npos) << os.version;
  EXPECT_TRUE(IsNumber(os.build.substr(0, os.build.find(' ')))) << os.build;
  EXPECT_FALSE(os.hostName.empty());
  EXPECT_EQ(os.machine, "AMD64");
  EXPECT_TRUE(os.type == "Workstation" || os.type == "Server" || os.type == "Domain Controller")
      << os.type;
  std::string name;
  ASSERT_EQ(GetOSDisplayString(name), 0);
  EXPECT_EQ(name.rfind("Microsoft Windows", 0), 0u) << name;

  std::vector<_NICINFO> nics;
  ASSERT_EQ(GetNICInfo(nics), 0);
  EXPECT_TRUE(std::is_sorted(nics.begin(), nics.end(),
                             [](const _NICINFO& a, const _NICINFO& b) { return a.name < b.name; }));
  for (const _NICINFO& nic : nics) {
    EXPECT_FALSE(nic.name.empty());
    EXPECT_TRUE(IsNumber(nic.receiveBytes) && IsNumber(nic.transmitPackets)) << nic.name;
  }

  std::vector<_DRIVEINFO> drives;
  ASSERT_EQ(GetDriveData(drives), 0);
  ASSERT_FALSE(drives.empty());  // the system drive at least
  for (const _DRIVEINFO& drive : drives) {
    EXPECT_EQ(drive.id.size(), 3u) << drive.id;  // "C:\"
    EXPECT_EQ(drive.id.substr(1), ":\\") << drive.id;
    EXPECT_TRUE(IsNumber(drive.totalSpace) && IsNumber(drive.freeSpace)) << drive.id;
  }
}

// Without an image the BIOS module reads GetSystemFirmwareTable('RSMB'), whose table comes
// without an entry point: the one made for it must pass the decoders' checks.
TEST(WindowsFirmware, SmbiosFromTheFirmwareTable) {
  TempDir dir;
  ScopedEnv env("ORDIX_CONFIG_DIR", dir.Path());
  const UINT size = ::GetSystemFirmwareTable(0x52534D42, 0, nullptr, 0);
  if (size == 0) GTEST_SKIP() << "this system has no SMBIOS tables";
  ResultMap answer;
  ASSERT_NO_THROW(Module::BIOSConfig::BIOSConfigModule().ProcessXQuery("/BIOS", answer));
  EXPECT_EQ(answer.count("/BIOS/Vendor"), 1u);
}

// Without VariablesDir the machine's own variables are asked for; a system that has none (or
// cannot tell, as Wine) answers "not found" rather than failing the process.
TEST(WindowsFirmware, MachineVariablesWithoutUefiAreNotFound) {
  TempDir dir;
  ScopedEnv env("ORDIX_CONFIG_DIR", dir.Path());
  uint8_t buffer[16] = {};
  EFIVar var{u"FWVERSIONDATA",
             {0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}},
             sizeof(buffer),
             buffer,
             0};
  const RStatus status = SMIProtocolImpl().GetVariable(var);
  EXPECT_TRUE(status.code == ErrorCode::kEfiVariableNotFound ||
              status.code == ErrorCode::kEfiVariableUnreadable)
      << status.code << ": " << status.text2;
}

// ---- The module, loaded as a host loads it ----------------------------------------------------

TEST(WindowsModule, LoadedByPathWithLoadLibraryAnswersTheOSBranch) {
  using Module::PlatformConfig::PlatformConfigModule;
  std::string error;
  Sys::DynamicLibrary library = Sys::DynamicLibrary::Open(MODULE_PATH, error);
  ASSERT_TRUE(library.IsLoaded()) << error;
  auto entry = reinterpret_cast<void* (*)()>(library.Symbol("GetPlatformConfigCreationInfo"));
  ASSERT_NE(entry, nullptr);
  auto factory = reinterpret_cast<PlatformConfigModule* (*)()>(entry());
  PlatformConfigModule* module = factory();
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(factory(), module);

  ResultMap result;
  module->ProcessXQuery("/Platform/OS/Info", result);
  ASSERT_EQ(result.count("/Platform/OS/Info/Type"), 1u);
  EXPECT_EQ(result.at("/Platform/OS/Info/Machine").list, std::vector<std::string>{"AMD64"});
  const std::string name = result.at("/Platform/OS/Info/Name").list.at(0);
  EXPECT_EQ(name.rfind("Microsoft Windows", 0), 0u) << name;
  // A ResultStatus thrown inside the DLL is caught on this side of the boundary.
  EXPECT_THROW(module->ProcessXQuery("/Platform/OS", std::string()), ResultStatus);
  delete module;
}

}  // namespace
