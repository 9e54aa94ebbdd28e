// The kernel exposes the firmware's entry point and structure table as two sysfs files,
// readable by root only.

#include "ErrorCodes.h"
#include "smbios_error.h"
#include "smbios_source.h"

namespace Module::BIOSConfig {

namespace {

constexpr const char* kSysfsTablesDir = "/sys/firmware/dmi/tables";
constexpr const char* kEntryPointFile = "/smbios_entry_point";
constexpr const char* kTableFile = "/DMI";

[[noreturn]] void Unreadable(const std::string& path, const std::string& problem) {
  ThrowSmbios(ErrorCode::kSmbiosUnreadable, path + ": " + problem);
}

}  // namespace

std::string DefaultFirmwareLocation() {
  return kSysfsTablesDir;
}

std::optional<SmbiosTables> ReadFirmwareTables(const std::string& location) {
  const std::string entryPointPath = location + kEntryPointFile;
  FileContents entryPoint = ReadWholeFile(entryPointPath);
  if (entryPoint.state == FileState::kMissing) return std::nullopt;
  if (entryPoint.state == FileState::kUnreadable) Unreadable(entryPointPath, entryPoint.problem);
  // With the entry point there, a missing table is a broken export, not an absent one.
  const std::string tablePath = location + kTableFile;
  FileContents table = ReadWholeFile(tablePath);
  if (table.state != FileState::kRead) Unreadable(tablePath, table.problem);
  return SmbiosTables{std::move(entryPoint.bytes), std::move(table.bytes)};
}

}  // namespace Module::BIOSConfig
