// Windows reads the firmware's variables with GetFirmwareEnvironmentVariableExW, which needs
// the system-environment privilege: it is enabled for the process on first use (it is held,
// disabled, by administrators). A machine booted without UEFI has no variables: that is
// reported as "no such variable", as on Linux without efivarfs. The firmware type is asked of
// the kernel first (the boot environment information), because a system that cannot tell
// (Wine) may not implement the variable call at all: there, calling it ends the process.

#include <windows.h>

#include <cstdio>
#include <mutex>

#include "efivar_name.h"
#include "efivars_source.h"

namespace Ordix::SMI {

namespace {

constexpr DWORD kInitialBytes = 4096;

// NtQuerySystemInformation(SystemBootEnvironmentInformation): its FirmwareType field.
constexpr ULONG kBootEnvironmentInformationClass = 90;
struct BootEnvironmentInformation {
  GUID bootIdentifier;
  FIRMWARE_TYPE firmwareType;
  ULONGLONG bootFlags;
};

bool BootedWithUefi() {
  using QueryFn = LONG(WINAPI*)(ULONG, PVOID, ULONG, PULONG);
  HMODULE ntdll = ::GetModuleHandleA("ntdll");
  auto query = ntdll == nullptr ? nullptr
                                : reinterpret_cast<QueryFn>(reinterpret_cast<void*>(
                                      ::GetProcAddress(ntdll, "NtQuerySystemInformation")));
  if (query == nullptr) return false;
  BootEnvironmentInformation info{};
  ULONG length = 0;
  if (query(kBootEnvironmentInformationClass, &info, sizeof(info), &length) != 0) return false;
  return info.firmwareType == FirmwareTypeUefi;
}
constexpr DWORD kMaxBytes = DWORD{1} << 20;  // as the directory reader's limit

void EnableSystemEnvironmentPrivilege() {
  HANDLE token = nullptr;
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) {
    return;
  }
  TOKEN_PRIVILEGES privileges{};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (::LookupPrivilegeValueA(nullptr, "SeSystemEnvironmentPrivilege",
                              &privileges.Privileges[0].Luid)) {
    ::AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
  }
  ::CloseHandle(token);
}

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" as the call takes it.
std::wstring GuidText(const EFIGuid& guid) {
  const std::string text = "{" + FormatGuid(guid) + "}";
  return std::wstring(text.begin(), text.end());  // ASCII only
}

VariableRead Failed(uint16_t code, const std::string& fileName, const std::string& reason) {
  return {code, fileName + ": " + reason, {}};
}

}  // namespace

VariableRead ReadMachineVariable(const EFIVar& request, const std::string& fileName) {
  static std::once_flag once;
  static bool uefi = false;
  std::call_once(once, [] {
    uefi = BootedWithUefi();
    if (uefi) EnableSystemEnvironmentPrivilege();
  });
  if (!uefi) {
    return Failed(ErrorCode::kEfiVariableNotFound, fileName,
                  "the firmware has no EFI variables (not booted with UEFI)");
  }

  // The name up to its first NUL, terminated.
  std::wstring name;
  for (char16_t c : request.name) {
    if (c == u'\0') break;
    name.push_back(static_cast<wchar_t>(c));
  }
  const std::wstring guid = GuidText(request.vendorGuid);
  std::vector<uint8_t> buffer(kInitialBytes);
  for (;;) {
    DWORD attributes = 0;
    const DWORD got = ::GetFirmwareEnvironmentVariableExW(
        name.c_str(), guid.c_str(), buffer.data(), static_cast<DWORD>(buffer.size()), &attributes);
    // UEFI variables always hold data, so 0 is a failure.
    if (got != 0) {
      buffer.resize(got);
      return {0, {}, DecodedVariable{static_cast<uint32_t>(attributes), std::move(buffer)}};
    }
    const DWORD error = ::GetLastError();
    if (error == ERROR_INSUFFICIENT_BUFFER && buffer.size() < kMaxBytes) {
      buffer.resize(buffer.size() * 4);
      continue;
    }
    switch (error) {
      case ERROR_ENVVAR_NOT_FOUND:
        return Failed(ErrorCode::kEfiVariableNotFound, fileName, "no such variable");
      case ERROR_INVALID_FUNCTION:
        return Failed(ErrorCode::kEfiVariableNotFound, fileName,
                      "the firmware has no EFI variables (not booted with UEFI)");
      case ERROR_INSUFFICIENT_BUFFER:
        return Failed(ErrorCode::kEfiVariableUnreadable, fileName, "larger than 1 MiB");
      default:
        return Failed(
            ErrorCode::kEfiVariableUnreadable, fileName,
            "GetFirmwareEnvironmentVariableExW failed with error " + std::to_string(error));
    }
  }
}

}  // namespace Ordix::SMI
