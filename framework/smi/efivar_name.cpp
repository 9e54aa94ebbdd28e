#include "efivar_name.h"

#include <cstdio>

namespace Ordix::SMI {

namespace {

constexpr char16_t kPathSeparator = u'/';
// 8-4-4-4-12 hexadecimal digits and four dashes.
constexpr size_t kGuidTextLength = 36;

// One UTF-16 unit as UTF-8. Units are encoded one by one, surrogates included, because the
// kernel converts the firmware's UCS-2 names that way; pairing surrogates would spell some
// names differently from the file efivarfs shows.
void AppendUnit(std::string& out, char16_t unit) {
  const auto c = static_cast<uint32_t>(unit);
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

}  // namespace

std::string FormatGuid(const EFIGuid& g) {
  char text[kGuidTextLength + 1];
  std::snprintf(text, sizeof(text), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                static_cast<unsigned>(g.data1), static_cast<unsigned>(g.data2),
                static_cast<unsigned>(g.data3), g.data4[0], g.data4[1], g.data4[2], g.data4[3],
                g.data4[4], g.data4[5], g.data4[6], g.data4[7]);
  return text;
}

std::optional<std::string> NameForFile(std::u16string_view name) {
  name = name.substr(0, name.find(u'\0'));
  if (name.empty()) return std::nullopt;
  std::string out;
  out.reserve(name.size());
  for (char16_t unit : name) {
    if (unit == kPathSeparator) return std::nullopt;
    AppendUnit(out, unit);
  }
  return out;
}

std::optional<std::string> VariableFileName(std::u16string_view name, const EFIGuid& guid) {
  std::optional<std::string> file = NameForFile(name);
  if (file) *file += "-" + FormatGuid(guid);
  return file;
}

}  // namespace Ordix::SMI
