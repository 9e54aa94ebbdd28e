#include "efivar_decode.h"

namespace Ordix::SMI {

std::optional<DecodedVariable> DecodeEfivarFile(const std::vector<uint8_t>& bytes) {
  if (bytes.size() < kAttributeBytes) return std::nullopt;
  DecodedVariable v;
  for (size_t i = 0; i < kAttributeBytes; ++i) {
    v.attributes |= static_cast<uint32_t>(bytes[i]) << (8 * i);
  }
  v.data.assign(bytes.begin() + kAttributeBytes, bytes.end());
  return v;
}

}  // namespace Ordix::SMI
