#include "smbios_values.h"

namespace Module::BIOSConfig {

namespace {
constexpr char kBlank = ' ';
constexpr unsigned char kFirstPrintable = 0x20;
constexpr unsigned char kDelete = 0x7F;
constexpr char kStandIn = '.';
}  // namespace

std::string Decimal(uint64_t value) {
  return std::to_string(value);
}

std::string NonZeroText(std::optional<uint64_t> value) {
  return value && *value != 0 ? Decimal(*value) : kUnknown;
}

std::string CodeName(const Structure& s, size_t offset, const char* (*name)(uint8_t)) {
  const std::optional<uint8_t> code = Field<uint8_t>(s, offset);
  const char* text = code ? name(*code) : nullptr;
  return text != nullptr ? text : kUnknown;
}

std::string StringText(const Structure& s, size_t offset) {
  std::optional<std::string> text = StringField(s, offset);
  if (!text) return kUnknown;
  // Control characters would break a line of output or a terminal, and bytes past ASCII are
  // in no known encoding: both read as '.', as other readers print them.
  for (char& c : *text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < kFirstPrintable || byte >= kDelete) c = kStandIn;
  }
  text->erase(text->find_last_not_of(kBlank) + 1);
  return *text;
}

}  // namespace Module::BIOSConfig
