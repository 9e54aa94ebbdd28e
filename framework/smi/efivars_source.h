#pragma once
// Where variables are read from. A source only fetches a variable and splits off its
// attributes; turning the outcome into a status is GetVariable's job. Every source refuses
// (as unreadable) a variable over 1 MiB, so a size always fits a 32-bit field.

#include <cstdint>
#include <string>

#include "SMIProtocol.h"
#include "efivar_decode.h"

namespace Ordix::SMI {

struct VariableRead {
  uint16_t code = 0;   // 0, or one of the ErrorCode::kEfi* codes
  std::string detail;  // on failure: the file concerned and the reason
  DecodedVariable variable;
};

// The file fileName ("NAME-guid") of an efivarfs-style directory.
VariableRead ReadFromDirectory(const std::string& dir, const std::string& fileName);

// The machine's own variable; one implementation per OS. fileName is the request's name in
// the efivarfs form, already checked.
VariableRead ReadMachineVariable(const EFIVar& request, const std::string& fileName);

}  // namespace Ordix::SMI
