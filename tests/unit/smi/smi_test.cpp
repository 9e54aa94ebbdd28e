// The efivarfs layout on bytes and names, then GetVariable on variables laid out in a
// directory, and on the simulated servers' variable directories.

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <optional>

#include "ErrorMgr.h"
#include "SMIProtocol.h"
#include "TempDir.h"
#include "efivar_decode.h"
#include "efivar_name.h"

namespace {

using namespace Ordix::SMI;
using namespace std::string_literals;
using Bytes = std::vector<uint8_t>;

const EFIGuid kVendor{0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}};
const std::string kVendorText = "ec87d643-eba4-4bb5-a1e5-3f3e36b20da9";

TEST(DecodeEfivarFile, LittleEndianAttributesThenDataTooFewBytesRejected) {
  Bytes large(70000);
  std::iota(large.begin(), large.end(), uint8_t{0x5A});
  large[0] = 0x07, large[1] = large[2] = 0x00, large[3] = 0x80;
  const struct {
    Bytes bytes;
    std::optional<uint32_t> attributes;
    Bytes data;
  } rows[] = {{{}, std::nullopt, {}},
              {{0x07, 0x00, 0x00}, std::nullopt, {}},
              {{0x07, 0x00, 0x00, 0x00}, 0x7, {}},
              {{0x78, 0x56, 0x34, 0x12, 0xAA, 0x00}, 0x12345678, {0xAA, 0x00}},
              {large, 0x80000007, Bytes(large.begin() + 4, large.end())}};
  for (const auto& row : rows) {
    const std::optional<DecodedVariable> v = DecodeEfivarFile(row.bytes);
    ASSERT_EQ(v.has_value(), row.attributes.has_value()) << row.bytes.size();
    if (!v) continue;
    EXPECT_EQ(v->attributes, *row.attributes) << row.bytes.size();
    EXPECT_EQ(v->data, row.data) << row.bytes.size();
  }
}

TEST(VariableFileName, NameUpToNulEachUnitAsUtf8LowerCaseGuidSeparatorRejected) {
  for (const auto& [name, file] : std::vector<std::pair<std::u16string, std::string>>{
           {u"FWVERSIONDATA\0"s, "FWVERSIONDATA-" + kVendorText},
           {u"A\0B\0"s, "A-" + kVendorText},
           {u"\u00e9\u20ac"s, "\xc3\xa9\xe2\x82\xac-" + kVendorText},
           // A surrogate pair stays two units, as the kernel spells UCS-2 names.
           {u"\xd83d\xde00"s, "\xed\xa0\xbd\xed\xb8\x80-" + kVendorText}}) {
    EXPECT_EQ(VariableFileName(name, kVendor), file) << file;
  }
  for (const std::u16string& name : {u""s, u"\0FW"s, u"a/b"s}) {
    EXPECT_EQ(VariableFileName(name, kVendor), std::nullopt) << name.size();
  }
  EXPECT_EQ(FormatGuid({0x1, 0x2, 0xAB, {0, 1, 2, 3, 4, 5, 6, 0xFF}}),
            "00000001-0002-00ab-0001-0203040506ff");
}

// GetVariable with the settings naming a directory of recorded variables.
class GetVariable : public ::testing::Test {
 protected:
  void UseSettings(const std::string& content) { tmp_.Write("OrdixServMgmtSettings.ini", content); }
  std::string VarsDir() const { return tmp_.Path() + "/vars"; }
  void Variable(const std::string& file, const std::string& bytes) {
    tmp_.Write("vars/" + file, bytes);
  }
  TestSupport::TempDir tmp_;
  TestSupport::ScopedEnv env_{"ORDIX_CONFIG_DIR", tmp_.Path()};
};

constexpr uint8_t kUntouched = 0xEE;
constexpr uint32_t kCapacity = 16;

TEST_F(GetVariable, CopiesWhatFitsReportsTheSizeOfWhatDoesNotAndFailsCleanly) {
  UseSettings("[SMI]\nVariablesDir=" + VarsDir() + "\n");
  Variable("FWVERSIONDATA-" + kVendorText, "\x07\x00\x00\x80"s + "0123456789");
  Variable("NoData-" + kVendorText, "\x06\x00\x00\x00"s);
  Variable("Short-" + kVendorText, "\x07\x00\x00"s);
  Variable("Upper-EC87D643-EBA4-4BB5-A1E5-3F3E36B20DA9", "\x07\x00\x00\x00"s + "x");
  tmp_.MakeDir("vars/Dir-" + kVendorText);
  const EFIGuid other{0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xAA}};
  const struct {
    std::u16string name;
    EFIGuid guid;
    uint32_t capacity;
    uint16_t code;
    uint32_t sizeAfter;  // also RStatus::value unless the size is left alone
    std::string copied;
    uint32_t attributes;
    bool nullBuffer = false;
  } rows[] = {
      {u"FWVERSIONDATA\0"s, kVendor, kCapacity, 0, 10, "0123456789", 0x80000007},
      {u"FWVERSIONDATA"s, kVendor, 10, 0, 10, "0123456789", 0x80000007},
      {u"FWVERSIONDATA"s, kVendor, 9, ErrorCode::kEfiBufferTooSmall, 10, "", 0},
      {u"NoData"s, kVendor, kCapacity, 0, 0, "", 0x6},
      {u"FWVERSIONDATA"s, other, kCapacity, ErrorCode::kEfiVariableNotFound, kCapacity, "", 0},
      {u"Upper"s, kVendor, kCapacity, ErrorCode::kEfiVariableNotFound, kCapacity, "", 0},
      {u"Short"s, kVendor, kCapacity, ErrorCode::kEfiVariableMalformed, kCapacity, "", 0},
      {u"Dir"s, kVendor, kCapacity, ErrorCode::kEfiVariableUnreadable, kCapacity, "", 0},
      {u"vars/../x"s, kVendor, kCapacity, ErrorCode::kEfiInvalidRequest, kCapacity, "", 0},
      {u"\0"s, kVendor, kCapacity, ErrorCode::kEfiInvalidRequest, kCapacity, "", 0},
      {u"FWVERSIONDATA"s, kVendor, kCapacity, ErrorCode::kEfiInvalidRequest, kCapacity, "", 0,
       true}};
  for (const auto& row : rows) {
    const std::string label = std::to_string(&row - rows);
    Bytes buffer(kCapacity, kUntouched);
    EFIVar var{row.name, row.guid, row.capacity, row.nullBuffer ? nullptr : buffer.data(), 0};
    const RStatus status = SMIProtocolImpl().GetVariable(var);
    EXPECT_EQ(status.code, row.code) << label << ": " << status.text2;
    EXPECT_EQ(var.dataSize, row.sizeAfter) << label;
    EXPECT_EQ(var.attributes, row.attributes) << label;
    Bytes expected(row.copied.begin(), row.copied.end());
    expected.resize(kCapacity, kUntouched);
    EXPECT_EQ(buffer, expected) << label;
    const bool sized = row.code == 0 || row.code == ErrorCode::kEfiBufferTooSmall;
    EXPECT_EQ(status.value, sized ? row.sizeAfter : 0u) << label;
    EXPECT_EQ(status.word2, 0) << label;
    EXPECT_EQ(status.text1, row.code ? ErrorMgr::GetInstance()->Get(row.code) : "") << label;
    EXPECT_EQ(status.text2.empty(), row.code == 0) << label;
  }
}

TEST_F(GetVariable, SettingsReadOnEveryCallWithoutThemTheMachinesOwnVariables) {
  Variable("Probe-" + kVendorText, "\x07\x00\x00\x00"s + "p");
  uint8_t byte = 0;
  EFIVar var{u"Probe"s, kVendor, 1, &byte, 0};
  UseSettings("[Logging]\nLevel=2\n");
  const RStatus machine = SMIProtocolImpl().GetVariable(var);
  EXPECT_EQ(machine.code, ErrorCode::kEfiVariableNotFound);
  EXPECT_EQ(machine.text2.rfind("/sys/firmware/efi/efivars/Probe-" + kVendorText, 0), 0u)
      << machine.text2;
  UseSettings("[SMI]\nVariablesDir=" + VarsDir() + "\n");
  EXPECT_EQ(SMIProtocolImpl().GetVariable(var).code, 0);
  EXPECT_EQ(byte, 'p');
}

// The simulated servers' directories hold the firmware-version variable in the layout that
// platform identification reads: signature at 0, firmware GUID at 16, board at 83.
TEST(SimulatedVariables, EachCaseHoldsTheLayoutItDescribes) {
  const Bytes firmwareGuid{0xE0, 0x48, 0x96, 0x39, 0x54, 0x81, 0x23, 0x4D,
                           0x93, 0xDE, 0x28, 0x25, 0x46, 0x85, 0xA3, 0x42};
  const struct {
    const char* dir;
    uint16_t code;
    uint32_t size;
    const char* signature;
    size_t guidBytesMatching;
    std::string board;
  } rows[] = {
      {"board-table-hit", 0, 261, "$FID", 16, "R7100QTN"},
      {"trailing-underscore", 0, 261, "$FID", 16, "R7500LG_"},
      {"blank-fru", 0, 261, "$FID", 16, "Blank FRU"},
      {"unknown-board", 0, 261, "$FID", 16, "R8800XQ"},
      {"bad-signature", 0, 261, "$fid", 16, "R7100QTN"},
      {"wrong-firmware-guid", 0, 261, "$FID", 15, "R7100QTN"},
      {"board-40-characters", 0, 261, "$FID", 16, "R7100QTN-0123456789-ABCDEFGHIJ-abcdefghi"},
      {"short-data", 0, 20, "$FID", 4, ""},
      {"no-variable", ErrorCode::kEfiVariableNotFound, 0, "\0\0\0\0", 0, ""}};
  for (const auto& row : rows) {
    TestSupport::TempDir tmp;
    TestSupport::ScopedEnv env("ORDIX_CONFIG_DIR", tmp.Path());
    tmp.Write("OrdixServMgmtSettings.ini",
              "[SMI]\nVariablesDir="s + SIM_EFI_ROOT + "/" + row.dir + "\n");
    Bytes data(4096, 0);
    EFIVar var{u"FWVERSIONDATA\0"s, kVendor, 4096, data.data(), 0};
    const RStatus status = SMIProtocolImpl().GetVariable(var);
    EXPECT_EQ(status.code, row.code) << row.dir << ": " << status.text2;
    EXPECT_EQ(status.value, row.size) << row.dir;
    EXPECT_EQ(std::memcmp(data.data(), row.signature, 4), 0) << row.dir;
    size_t matching = 0;
    while (matching < 16 && data[16 + matching] == firmwareGuid[matching]) ++matching;
    EXPECT_EQ(matching, row.guidBytesMatching) << row.dir;
    const char* board = reinterpret_cast<const char*>(data.data() + 83);
    EXPECT_EQ(std::string(board, strnlen(board, 40)), row.board) << row.dir;
  }
}

}  // namespace
