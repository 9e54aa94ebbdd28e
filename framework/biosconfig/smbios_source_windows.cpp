// Windows hands out the firmware's structure table through GetSystemFirmwareTable('RSMB'),
// prefixed by the version header of RawSMBIOSData but without the entry point. The decoders
// take the entry point for version and length, so one is made here from that header, laid
// out as the firmware would have written it (checksums included).

#include <windows.h>

#include <cstring>

#include "ErrorCodes.h"
#include "smbios_error.h"
#include "smbios_source.h"

namespace Module::BIOSConfig {

namespace {

// 'RSMB' as a big-endian four-character code.
constexpr DWORD kRawSmbiosProvider = 0x52534D42;
constexpr const char* kLocation = "GetSystemFirmwareTable('RSMB')";

// RawSMBIOSData: used-2.0-calling-method, major, minor, DMI revision, 32-bit table length.
constexpr size_t kHeaderBytes = 8;
constexpr size_t kMajorOffset = 1;
constexpr size_t kMinorOffset = 2;
constexpr size_t kRevisionOffset = 3;
constexpr size_t kLengthOffset = 4;

constexpr size_t kEntryPoint2Bytes = 0x1F;
constexpr size_t kEntryPoint3Bytes = 0x18;
constexpr uint32_t kMaxTable2Bytes = 0xFFFF;

void PutLittleEndian(ByteVector& bytes, size_t offset, uint64_t value, size_t count) {
  for (size_t i = 0; i < count; ++i) bytes[offset + i] = static_cast<uint8_t>(value >> (8 * i));
}

// The byte at offset that makes [from, from + count) sum to 0.
void PutChecksum(ByteVector& bytes, size_t offset, size_t from, size_t count) {
  unsigned sum = 0;
  for (size_t i = from; i < from + count; ++i) sum += bytes[i];
  bytes[offset] = static_cast<uint8_t>(0x100 - sum % 0x100);
}

// A 3.x entry point ("_SM3_"): the table length is its maximum size, the table at address 0.
ByteVector EntryPoint3(uint8_t major, uint8_t minor, uint8_t revision, uint32_t length) {
  ByteVector ep(kEntryPoint3Bytes, 0);
  std::memcpy(ep.data(), "_SM3_", 5);
  ep[0x06] = static_cast<uint8_t>(kEntryPoint3Bytes);
  ep[0x07] = major;
  ep[0x08] = minor;
  ep[0x09] = revision;
  ep[0x0A] = 0x01;  // entry point revision
  PutLittleEndian(ep, 0x0C, length, 4);
  PutChecksum(ep, 0x05, 0, ep.size());
  return ep;
}

// A 2.1 layout entry point ("_SM_" with its "_DMI_" part); no structure count, so the table is
// read to its end-of-table structure or its length.
ByteVector EntryPoint2(uint8_t major, uint8_t minor, uint32_t length) {
  ByteVector ep(kEntryPoint2Bytes, 0);
  std::memcpy(ep.data(), "_SM_", 4);
  ep[0x05] = static_cast<uint8_t>(kEntryPoint2Bytes);
  ep[0x06] = major;
  ep[0x07] = minor;
  std::memcpy(ep.data() + 0x10, "_DMI_", 5);
  PutLittleEndian(ep, 0x16, length, 2);
  ep[0x1E] = static_cast<uint8_t>((major << 4) | (minor & 0x0F));
  PutChecksum(ep, 0x15, 0x10, 0x0F);
  PutChecksum(ep, 0x04, 0, ep.size());
  return ep;
}

[[noreturn]] void Unreadable(const std::string& problem) {
  ThrowSmbios(ErrorCode::kSmbiosUnreadable, std::string(kLocation) + ": " + problem);
}

}  // namespace

std::string DefaultFirmwareLocation() {
  return kLocation;
}

std::optional<SmbiosTables> ReadFirmwareTables(const std::string& /*location*/) {
  const UINT size = ::GetSystemFirmwareTable(kRawSmbiosProvider, 0, nullptr, 0);
  if (size == 0) return std::nullopt;  // no tables on this machine
  ByteVector raw(size);
  const UINT got = ::GetSystemFirmwareTable(kRawSmbiosProvider, 0, raw.data(), size);
  if (got == 0 || got > size) {
    Unreadable("the table changed size or could not be read (error " +
               std::to_string(::GetLastError()) + ")");
  }
  raw.resize(got);
  if (raw.size() < kHeaderBytes) Unreadable(std::to_string(raw.size()) + " bytes, no header");
  uint32_t length = 0;
  for (size_t i = 4; i-- > 0;) length = (length << 8) | raw[kLengthOffset + i];
  if (length > raw.size() - kHeaderBytes) {
    Unreadable("the header gives " + std::to_string(length) + " table bytes, " +
               std::to_string(raw.size() - kHeaderBytes) + " are there");
  }
  const uint8_t major = raw[kMajorOffset];
  const uint8_t minor = raw[kMinorOffset];
  ByteVector table(raw.begin() + kHeaderBytes, raw.begin() + kHeaderBytes + length);
  ByteVector entryPoint = major >= 3 || length > kMaxTable2Bytes
                              ? EntryPoint3(major, minor, raw[kRevisionOffset], length)
                              : EntryPoint2(major, minor, length);
  return SmbiosTables{std::move(entryPoint), std::move(table)};
}

}  // namespace Module::BIOSConfig
