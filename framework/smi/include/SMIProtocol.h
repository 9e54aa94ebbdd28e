#pragma once
// The framework's SMI protocol library: reads the firmware's EFI variables.
//
// Where the variables come from: the directory named by [SMI] VariablesDir of the settings
// file, else the machine's own variables (Linux: the efivarfs mount, /sys/firmware/efi/efivars).
// A variables directory is laid out as Linux efivarfs: one file per variable, named
// "NAME-guid" (the vendor GUID in lower case, 8-4-4-4-12), holding the 4 attribute bytes
// (little-endian) and then the data.

#include <cstdint>
#include <string>

#include "ErrorCodes.h"
#include "smi_export.h"

// A GUID in its EFI form: the first three fields are numbers, the last eight bytes are taken
// in order. {EC87D643-EBA4-4BB5-A1E5-3F3E36B20DA9} is {0xEC87D643, 0xEBA4, 0x4BB5,
// {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}}.
struct EFIGuid {
  uint32_t data1 = 0;
  uint16_t data2 = 0;
  uint16_t data3 = 0;
  uint8_t data4[8] = {};
};

// One variable request.
//   name: the variable's name; it ends at its first NUL (a terminating NUL may be included)
//     or at the end of the string. Each UTF-16 unit is one character, as the firmware's
//     names are UCS-2.
//   dataSize: in, the capacity of data in bytes; out, the size of the variable's data when
//     it was read or when it did not fit.
//   data: the caller's buffer; written only when the whole variable fits.
//   attributes: out, the variable's attribute bits, set when it was read.
struct EFIVar {
  std::u16string name;
  EFIGuid vendorGuid;
  uint32_t dataSize = 0;
  uint8_t* data = nullptr;
  uint32_t attributes = 0;
};

// The outcome of a request.
//   code: 0 when the variable was read, else one of the framework's EFI variable codes
//     (ErrorCodes.h):
//       ErrorCode::kEfiVariableNotFound    2060  no such variable (or no variables at all)
//       ErrorCode::kEfiBufferTooSmall      2061  nothing copied; dataSize = the size needed
//       ErrorCode::kEfiVariableUnreadable  2062  the variable exists but could not be read
//       ErrorCode::kEfiVariableMalformed   2063  shorter than its 4 attribute bytes
//       ErrorCode::kEfiInvalidRequest      2064  no buffer, or an empty name or one with '/'
//   word2: reserved, 0.
//   text1: "" on success, else the framework's sentence for code (ErrorMgr).
//   text2: "" on success, else what went wrong where (the file it concerns, the reason).
//   value: the size of the variable's data when it was read or did not fit, else 0.
struct RStatus {
  uint16_t code = 0;
  uint16_t word2 = 0;
  std::string text1;
  std::string text2;
  uint32_t value = 0;
};

class SMI_EXPORT SMIProtocolImpl {
 public:
  // Reads var.name under var.vendorGuid into var.data. The settings are read on every call,
  // so a changed VariablesDir takes effect at the next request.
  RStatus GetVariable(EFIVar& var);
};
