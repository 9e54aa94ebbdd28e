// Linux shows the firmware's variables as files of the efivarfs mount.

#include "efivars_source.h"

namespace Ordix::SMI {

namespace {

constexpr const char* kEfivarsMount = "/sys/firmware/efi/efivars";

}  // namespace

VariableRead ReadMachineVariable(const EFIVar& /*request*/, const std::string& fileName) {
  return ReadFromDirectory(kEfivarsMount, fileName);
}

}  // namespace Ordix::SMI
