#include "ErrorCodes.h"
#include "smbios_entry_point.h"
#include "smbios_error.h"
#include "smbios_source.h"

namespace Module::BIOSConfig {

std::optional<SmbiosTables> ReadImageTables(const std::string& path) {
  const FileContents image = ReadWholeFile(path);
  if (image.state == FileState::kMissing) return std::nullopt;
  if (image.state == FileState::kUnreadable) {
    ThrowSmbios(ErrorCode::kSmbiosUnreadable, "image " + path + ": " + image.problem);
  }
  return SplitImage(image.bytes);
}

}  // namespace Module::BIOSConfig
