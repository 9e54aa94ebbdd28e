#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "smbios_source.h"

namespace Module::BIOSConfig {

namespace {

namespace fs = std::filesystem;

// Far beyond any real table (3.x tables are a few hundred KiB at most), small enough that a
// wrongly configured path cannot exhaust memory.
constexpr uintmax_t kMaxFileBytes = uintmax_t{64} << 20;
constexpr size_t kChunkBytes = 64 * 1024;

FileContents Unreadable(std::string problem) {
  return {FileState::kUnreadable, {}, std::move(problem)};
}

}  // namespace

FileContents ReadWholeFile(const std::string& path) {
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (status.type() == fs::file_type::not_found) return {FileState::kMissing, {}, "not found"};
  if (ec) return Unreadable(ec.message());
  if (status.type() != fs::file_type::regular) return Unreadable("not a regular file");
  std::ifstream in(path, std::ios::binary);
  if (!in) return Unreadable(std::strerror(errno));
  FileContents contents{FileState::kRead, {}, {}};
  std::vector<char> chunk(kChunkBytes);
  while (in) {
    in.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
    const auto got = static_cast<size_t>(in.gcount());
    if (contents.bytes.size() + got > kMaxFileBytes) return Unreadable("larger than 64 MiB");
    contents.bytes.insert(contents.bytes.end(), chunk.begin(), chunk.begin() + got);
  }
  if (in.bad()) return Unreadable("read error");
  return contents;
}

}  // namespace Module::BIOSConfig
