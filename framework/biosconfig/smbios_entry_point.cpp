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
constexpr uint8_t kMinLength2 = 0x1F;

// 3.x layout.
constexpr size_t kLength3Offset = 0x06;
constexpr size_t kMajor3Offset = 0x07;
constexpr size_t kMinor3Offset = 0x08;
constexpr size_t kMaxSize3Offset = 0x0C;
constexpr size_t kTableAddress3Offset = 0x10;
constexpr uint8_t kMinLength3 = 0x18;

// No revision defines a longer entry point; a larger length byte is garbage, not a layout.
constexpr uint8_t kMaxLength = 0x20;

bool HasAnchor(ByteView bytes, size_t offset, const char* anchor) {
  const size_t size = std::strlen(anchor);
  return bytes.Has(offset, size) && std::memcmp(bytes.begin() + offset, anchor, size) == 0;
}

[[noreturn]] void Malformed(const std::string& detail) {
  ThrowSmbios(ErrorCode::kSmbiosEntryPointMalformed, "entry point: " + detail);
}

// The length byte at offset, checked against the layout's minimum and the bytes there are.
uint8_t CheckedLength(ByteView bytes, size_t offset, uint8_t minimum) {
  const std::optional<uint8_t> length = bytes.Read<uint8_t>(offset);
  if (!length) Malformed("cut off before its length byte at " + HexOffset(offset));
  if (*length < minimum || *length > kMaxLength) {
    Malformed("length " + HexOffset(*length) + " at " + HexOffset(offset) + " is outside " +
              HexOffset(minimum) + "-" + HexOffset(kMaxLength));
  }
  if (!bytes.Has(0, *length)) {
    Malformed("length " + HexOffset(*length) + " but only " + std::to_string(bytes.size()) +
              " bytes are there");
  }
  return *length;
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
  ep.length = CheckedLength(bytes, kLength2Offset, kMinLength2);
  CheckSum(bytes, 0, ep.length, "checksum");
  if (!HasAnchor(bytes, kIntermediateOffset, kIntermediateAnchor)) {
    Malformed("no intermediate anchor \"_DMI_\" at " + HexOffset(kIntermediateOffset));
  }
  CheckSum(bytes, kIntermediateOffset, kIntermediateLength, "intermediate checksum");
  // The length check above guarantees every field below is there.
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
  ep.length = CheckedLength(bytes, kLength3Offset, kMinLength3);
  CheckSum(bytes, 0, ep.length, "checksum");
  ep.major = *bytes.Read<uint8_t>(kMajor3Offset);
  ep.minor = *bytes.Read<uint8_t>(kMinor3Offset);
  ep.tableLength = *bytes.Read<uint32_t>(kMaxSize3Offset);
  ep.tableAddress = *bytes.Read<uint64_t>(kTableAddress3Offset);
  return ep;
}

}  // namespace

EntryPoint DecodeEntryPoint(ByteView bytes) {
  if (HasAnchor(bytes, 0, kAnchor3)) return Decode3(bytes);
  if (HasAnchor(bytes, 0, kAnchor2)) return Decode2(bytes);
  Malformed("the anchor at 0x0 is neither \"_SM_\" nor \"_SM3_\" (" + std::to_string(bytes.size()) +
            " bytes)");
}

ByteView TableWindow(const EntryPoint& entryPoint, ByteView table) {
  if (!entryPoint.isVersion3 && table.size() < entryPoint.tableLength) {
    ThrowSmbios(ErrorCode::kSmbiosTableMalformed,
                "the table holds " + std::to_string(table.size()) +
                    " bytes; the entry point gives " + std::to_string(entryPoint.tableLength));
  }
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
  if (!ep.isVersion3 && !image.Has(offset, ep.tableLength)) {
    ThrowSmbios(ErrorCode::kSmbiosTableMalformed,
                "the table [" + HexOffset(offset) + ", " + HexOffset(offset + ep.tableLength) +
                    ") runs past the image end " + HexOffset(image.size()));
  }
  return {image.Slice(0, ep.length).Copy(), image.Slice(offset, ep.tableLength).Copy()};
}

}  // namespace Module::BIOSConfig
