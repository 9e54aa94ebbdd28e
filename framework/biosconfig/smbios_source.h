#pragma once
// Where the tables come from. Sources only fetch bytes; all decoding happens afterwards, so a
// source can be pointed at recorded or damaged files. A source that finds nothing returns
// nullopt; one that finds something it cannot read throws kSmbiosUnreadable.

#include <optional>
#include <string>

#include "smbios_bytes.h"

namespace Module::BIOSConfig {

enum class FileState { kRead, kMissing, kUnreadable };

struct FileContents {
  FileState state = FileState::kMissing;
  ByteVector bytes;
  std::string problem;  // why it could not be read
};

// The whole of a regular file. Anything else (a directory, a FIFO that would block) is
// unreadable, as is a file too large to be a table.
FileContents ReadWholeFile(const std::string& path);

// An image in the layout the dump tools write, split into entry point and table; a damaged
// image throws as the decoders do.
std::optional<SmbiosTables> ReadImageTables(const std::string& path);

// The firmware's own tables as the operating system exposes them at location.
std::optional<SmbiosTables> ReadFirmwareTables(const std::string& location);

// Where the operating system exposes them.
std::string DefaultFirmwareLocation();

}  // namespace Module::BIOSConfig
