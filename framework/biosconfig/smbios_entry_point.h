#pragma once
// The entry point: where the structure table is, how long it is and which SMBIOS version
// laid it out. Decoding is pure, so damaged entry points can be checked byte by byte.

#include <cstdint>

#include "smbios_bytes.h"

namespace Module::BIOSConfig {

struct EntryPoint {
  uint8_t major = 0;
  uint8_t minor = 0;
  // "_SM3_": the length is only a maximum and the table ends at its end-of-table structure.
  bool isVersion3 = false;
  // A bare "_DMI_" entry point, from firmware older than SMBIOS 2.1 entry points.
  bool isLegacy = false;
  uint8_t length = 0;  // of the entry point itself
  uint64_t tableAddress = 0;
  uint32_t tableLength = 0;     // 2.x: exact; 3.x: the maximum size
  uint16_t structureCount = 0;  // 2.x only; 0 when the entry point does not give it

  uint16_t Version() const { return static_cast<uint16_t>(major << 8 | minor); }
};

// Decodes the entry point at the start of bytes ("_SM3_", "_SM_" with its "_DMI_" part, or a
// bare "_DMI_"); bytes may run on past it (an image does). Throws kSmbiosEntryPointMalformed
// for a bad anchor, a length byte past the largest entry point, a checksum that does not
// add up, or too few bytes for the fields.
EntryPoint DecodeEntryPoint(ByteView bytes);

// The part of table the structures may occupy: at most the length the entry point gives. A
// table shorter than that (the kernel cuts a table it finds broken, an image may end early) is
// read as far as it goes.
ByteView TableWindow(const EntryPoint& entryPoint, ByteView table);

// Splits an image laid out as the dump tools write it (entry point at offset 0, table at the
// entry point's table address) into what the firmware would give; the table may end before
// the length the entry point gives. A table address past the image end throws
// kSmbiosTableMalformed.
SmbiosTables SplitImage(ByteView image);

}  // namespace Module::BIOSConfig
