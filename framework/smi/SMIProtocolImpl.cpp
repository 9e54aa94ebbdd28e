#include <cstring>
#include <optional>

#include "ErrorMgr.h"
#include "SMIProtocol.h"
#include "Settings.h"
#include "efivar_name.h"
#include "efivars_source.h"

namespace {

using namespace Ordix::SMI;

constexpr const char* kSettingsSection = "SMI";
constexpr const char* kVariablesDirKey = "VariablesDir";

RStatus Failure(uint16_t code, std::string detail, uint32_t value = 0) {
  return {code, 0, ErrorMgr::GetInstance()->Get(code), std::move(detail), value};
}

}  // namespace

RStatus SMIProtocolImpl::GetVariable(EFIVar& var) {
  if (var.data == nullptr) return Failure(ErrorCode::kEfiInvalidRequest, "no data buffer");
  const std::optional<std::string> fileName = VariableFileName(var.name, var.vendorGuid);
  if (!fileName) {
    return Failure(ErrorCode::kEfiInvalidRequest, "the name is empty or holds '/'");
  }
  const std::string dir = Ordix::Settings::GetString(kSettingsSection, kVariablesDirKey, "");
  VariableRead read =
      dir.empty() ? ReadMachineVariable(var, *fileName) : ReadFromDirectory(dir, *fileName);
  if (read.code != 0) return Failure(read.code, std::move(read.detail));

  // Sources cap a variable at 1 MiB, so the narrowing cannot lose bits.
  const std::vector<uint8_t>& data = read.variable.data;
  const auto size = static_cast<uint32_t>(data.size());
  if (size > var.dataSize) {
    var.dataSize = size;
    return Failure(ErrorCode::kEfiBufferTooSmall,
                   *fileName + ": " + std::to_string(size) + " bytes of data", size);
  }
  if (size != 0) std::memcpy(var.data, data.data(), size);
  var.dataSize = size;
  var.attributes = read.variable.attributes;
  return {0, 0, {}, {}, size};
}
