// Directories in the efivarfs layout: the kernel's own mount, or recorded variables a
// setting points at. Reading goes through the standard library so every OS can use it.

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "efivars_source.h"

namespace Ordix::SMI {

namespace {

namespace fs = std::filesystem;

// Firmware variable stores hold a few hundred KiB at most; the limit keeps a wrongly
// configured path from exhausting memory.
constexpr size_t kMaxFileBytes = size_t{1} << 20;
constexpr size_t kChunkBytes = 16 * 1024;

VariableRead Failed(uint16_t code, const std::string& path, const std::string& reason) {
  return {code, path + ": " + reason, {}};
}

}  // namespace

VariableRead ReadFromDirectory(const std::string& dir, const std::string& fileName) {
  const std::string path = (fs::path(dir) / fileName).string();
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  // A missing directory means no variables at all, which is how a machine without EFI looks.
  if (status.type() == fs::file_type::not_found) {
    return Failed(ErrorCode::kEfiVariableNotFound, path, "no such variable");
  }
  if (ec) return Failed(ErrorCode::kEfiVariableUnreadable, path, ec.message());
  if (status.type() != fs::file_type::regular) {
    return Failed(ErrorCode::kEfiVariableUnreadable, path, "not a regular file");
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) return Failed(ErrorCode::kEfiVariableUnreadable, path, std::strerror(errno));
  // Read to the end rather than trusting the reported size: efivarfs builds the content at
  // read time, and a variable can change between stat and read.
  std::vector<uint8_t> bytes;
  std::vector<char> chunk(kChunkBytes);
  while (in) {
    in.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
    const auto got = static_cast<size_t>(in.gcount());
    if (bytes.size() + got > kMaxFileBytes) {
      return Failed(ErrorCode::kEfiVariableUnreadable, path, "larger than 1 MiB");
    }
    bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(got));
  }
  if (in.bad()) return Failed(ErrorCode::kEfiVariableUnreadable, path, "read error");
  std::optional<DecodedVariable> variable = DecodeEfivarFile(bytes);
  if (!variable) {
    return Failed(ErrorCode::kEfiVariableMalformed, path,
                  std::to_string(bytes.size()) + " bytes, fewer than the 4 attribute bytes");
  }
  return {0, {}, std::move(*variable)};
}

}  // namespace Ordix::SMI
