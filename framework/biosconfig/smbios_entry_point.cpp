#include "smbios_entry_point.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "ErrorCodes.h"
#include "smbios_error.h"

namespace Module::BIOSConfig {

namespace {

constexpr char kAnchor2[] = "_SM_";
constexpr char kAnchor3[] = "_SM3_";
constexpr char kIntermediateAnchor[] = "_DMI_";

// 2.x layout.
constexpr size_t kLength2Offset = 0x05;
constexpr size_t kMajor2Offset = 0x06;
constexpr size_t kMinor2Offset = 0x07;
constexpr size_t kIntermediateOffset = 0x10;
constexpr size_t kIntermediateLength = 0x0F;
constexpr size_t kTableLength2Offset = 0x16;
constexpr size_t kTableAddress2Offset = 0x18;
constexpr size_t kStructureCountOffset = 0x1C;
// The fields end with the structure count; the "_DMI_" part is checked over its own bytes.
constexpr size_t kFieldsEnd2 = 0x1E;

// 3.x layout.
constexpr size_t kLength3Offset = 0x06;
constexpr size_t kMajor3Offset = 0x07;
constexpr size_t kMinor3Offset = 0x08;
constexpr size_t kMaxSize3Offset = 0x0C;
constexpr size_t kTableAddress3Offset = 0x10;
constexpr size_t kFieldsEnd3 = 0x18;

// A bare "_DMI_" entry point: 15 bytes, version in BCD.
constexpr size_t kLegacyLength = 0x0F;
constexpr size_t kTableLengthLegacyOffset = 0x06;
constexpr size_t kTableAddressLegacyOffset = 0x08;
constexpr size_t kStructureCountLegacyOffset = 0x0C;
constexpr size_t kBcdRevisionLegacyOffset = 0x0E;

// No revision defines a longer entry point; a larger length byte is garbage, not a layout.
// Shorter ones are taken as they come, as firmware readers do (early 2.1 firmware wrote 0x1E
// for 0x1F): the checksum covers the bytes the length byte gives.
constexpr uint8_t kMaxLength = 0x20;

bool HasAnchor(ByteView bytes, size_t offset, const char* anchor) {
  const size_t size = std::strlen(anchor);
  return bytes.Has(offset, size) && std::memcmp(bytes.begin() + offset, anchor, size) == 0;
}

[[noreturn]] void Malformed(const std::string& detail) {
  ThrowSmbios(ErrorCode::kSmbiosEntryPointMalformed, "entry point: " + detail);
}

// The length byte at offset, checked against the largest entry point and the bytes there are.
uint8_t CheckedLength(ByteView bytes, size_t offset) {
  const std::optional<uint8_t> length = bytes.Read<uint8_t>(offset);
  if (!length) Malformed("cut off before its length byte at " + HexOffset(offset));
  if (*length > kMaxLength) {
    Malformed("length " + HexOffset(*length) + " at " + HexOffset(offset) + " is past " +
              HexOffset(kMaxLength));
  }
  if (!bytes.Has(0, *length)) {
    Malformed("length " + HexOffset(*length) + " but only " + std::to_string(bytes.size()) +
              " bytes are there");
  }
  return *length;
}

// Whatever the length byte says, the fields must be there to be read.
void CheckFieldsThere(ByteView bytes, size_t fieldsEnd) {
  if (!bytes.Has(0, fieldsEnd)) {
    Malformed("its fields need " + std::to_string(fieldsEnd) + " bytes but only " +
              std::to_string(bytes.size()) + " are there");
  }
}

void CheckSum(ByteView bytes, size_t offset, size_t count, const char* what) {
  unsigned sum = 0;
  for (uint8_t byte : bytes.Slice(offset, count)) sum += byte;
  if (sum % 256 != 0) {
    Malformed(std::string(what) + " over " + HexOffset(offset) + "-" +
              HexOffset(offset + count - 1) + " sums to " + HexOffset(sum % 256) + ", not 0");
  }
}

EntryPoint Decode2(ByteView bytes) {
  EntryPoint ep;
  ep.length = CheckedLength(bytes, kLength2Offset);
  CheckSum(bytes, 0, ep.length, "checksum");
  if (!HasAnchor(bytes, kIntermediateOffset, kIntermediateAnchor)) {
    Malformed("no intermediate anchor \"_DMI_\" at " + HexOffset(kIntermediateOffset));
  }
  CheckFieldsThere(bytes, kIntermediateOffset + kIntermediateLength);
  CheckSum(bytes, kIntermediateOffset, kIntermediateLength, "intermediate checksum");
  static_assert(kIntermediateOffset + kIntermediateLength >= kFieldsEnd2);
  ep.major = *bytes.Read<uint8_t>(kMajor2Offset);
  ep.minor = *bytes.Read<uint8_t>(kMinor2Offset);
  ep.tableLength = *bytes.Read<uint16_t>(kTableLength2Offset);
  ep.tableAddress = *bytes.Read<uint32_t>(kTableAddress2Offset);
  ep.structureCount = *bytes.Read<uint16_t>(kStructureCountOffset);
  return ep;
}

EntryPoint Decode3(ByteView bytes) {
  EntryPoint ep;
  ep.isVersion3 = true;
  ep.length = CheckedLength(bytes, kLength3Offset);
  CheckSum(bytes, 0, ep.length, "checksum");
  CheckFieldsThere(bytes, kFieldsEnd3);
  ep.major = *bytes.Read<uint8_t>(kMajor3Offset);
  ep.minor = *bytes.Read<uint8_t>(kMinor3Offset);
  ep.tableLength = *bytes.Read<uint32_t>(kMaxSize3Offset);
  ep.tableAddress = *bytes.Read<uint64_t>(kTableAddress3Offset);
  return ep;
}

EntryPoint DecodeLegacy(ByteView bytes) {
  EntryPoint ep;
  ep.isLegacy = true;
  ep.length = static_cast<uint8_t>(kLegacyLength);
  CheckFieldsThere(bytes, kLegacyLength);
  CheckSum(bytes, 0, kLegacyLength, "checksum");
  const uint8_t bcd = *bytes.Read<uint8_t>(kBcdRevisionLegacyOffset);
  ep.major = static_cast<uint8_t>(bcd >> 4);
  ep.minor = static_cast<uint8_t>(bcd & 0x0F);
  ep.tableLength = *bytes.Read<uint16_t>(kTableLengthLegacyOffset);
  ep.tableAddress = *bytes.Read<uint32_t>(kTableAddressLegacyOffset);
  ep.structureCount = *bytes.Read<uint16_t>(kStructureCountLegacyOffset);
  return ep;
}

}  // namespace

EntryPoint DecodeEntryPoint(ByteView bytes) {
  if (HasAnchor(bytes, 0, kAnchor3)) return Decode3(bytes);
  if (HasAnchor(bytes, 0, kAnchor2)) return Decode2(bytes);
  if (HasAnchor(bytes, 0, kIntermediateAnchor)) return DecodeLegacy(bytes);
  Malformed("the anchor at 0x0 is none of \"_SM3_\", \"_SM_\" and \"_DMI_\" (" +
            std::to_string(bytes.size()) + " bytes)");
}

ByteView TableWindow(const EntryPoint& entryPoint, ByteView table) {
  return table.Slice(0, entryPoint.tableLength);
}

SmbiosTables SplitImage(ByteView image) {
  const EntryPoint ep = DecodeEntryPoint(image);
  if (ep.tableAddress > image.size()) {
    ThrowSmbios(ErrorCode::kSmbiosTableMalformed,
                "the table address " + HexOffset(ep.tableAddress) + " lies past the image end " +
                    HexOffset(image.size()));
  }
  const auto offset = static_cast<size_t>(ep.tableAddress);
  // All the bytes an entry point can have, not only those its length byte counts: the fields
  // of one whose length byte is short lie past that length.
  return {image.Slice(0, kMaxLength).Copy(), image.Slice(offset, ep.tableLength).Copy()};
}

}  // namespace Module::BIOSConfig
