// EFI variables: an efivarfs file's bytes split into attributes and data, a variable's name
// and GUID made into its file name, and the firmware-version variable read by platform
// identification through the SMI library from a variables directory.
//
// Input: the bytes of the file FWVERSIONDATA-<guid>; the same bytes, as UTF-16 units, are
// also a variable name, and their first 16 a vendor GUID.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "FuzzInput.h"
#include "Logger.h"
#include "ResultStatus.h"
#include "SMIProtocol.h"
#include "TempDir.h"
#include "efivar_decode.h"
#include "efivar_name.h"
#include "platform/PlatformImpl.h"

namespace {

constexpr const char* kVariableFile = "vars/FWVERSIONDATA-ec87d643-eba4-4bb5-a1e5-3f3e36b20da9";
constexpr size_t kBoardIdBytes = 40;
constexpr size_t kGuidTextLength = 36;

const TestSupport::TempDir& Dir() {
  static const TestSupport::TempDir dir;
  return dir;
}

void DecodeFile(const std::vector<uint8_t>& bytes) {
  const auto variable = Ordix::SMI::DecodeEfivarFile(bytes);
  Fuzz::Require(variable.has_value() == (bytes.size() >= Ordix::SMI::kAttributeBytes),
                "a file holding the attribute bytes decodes");
  if (variable) {
    Fuzz::Require(variable->data.size() == bytes.size() - Ordix::SMI::kAttributeBytes,
                  "the data is everything after the attributes");
  }
}

void NameFile(const uint8_t* data, size_t size) {
  std::u16string name(size / 2, u'\0');
  for (size_t i = 0; i < name.size(); ++i) {
    name[i] = static_cast<char16_t>(data[2 * i] | data[2 * i + 1] << 8);
  }
  EFIGuid guid;
  uint8_t raw[16] = {};
  if (size > 0) std::memcpy(raw, data, size < sizeof raw ? size : sizeof raw);
  std::memcpy(&guid.data1, raw, 4);
  std::memcpy(&guid.data2, raw + 4, 2);
  std::memcpy(&guid.data3, raw + 6, 2);
  std::memcpy(guid.data4, raw + 8, 8);
  const auto file = Ordix::SMI::VariableFileName(name, guid);
  if (!file) return;
  Fuzz::Require(file->size() > kGuidTextLength + 1 && file->find('/') == std::string::npos,
                "a variable's file name is a name, a dash and the GUID, without '/'");
  Fuzz::Require(file->compare(file->size() - kGuidTextLength, kGuidTextLength,
                              Ordix::SMI::FormatGuid(guid)) == 0,
                "the file name ends in the GUID");
}

void IdentifyBoard(const uint8_t* data, size_t size) {
  {
    // A new file each time: ext4 flushes a file truncated and written again when it is
    // closed, which cost this target four fifths of its time.
    const std::string path = Dir().Path() + "/" + kVariableFile;
    std::remove(path.c_str());
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  std::string board;
  try {
    Platform::PlatformImpl::GetInstance()->GetPlatformIDfromSMI(board);
  } catch (const ResultStatus&) {
    return;  // not the firmware's variable, as promised
  }
  Fuzz::Require(board.size() <= kBoardIdBytes && board.find('\0') == std::string::npos,
                "a board identifier is the 40-byte field up to its first NUL");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Dir().MakeDir("vars");
  Dir().Write("OrdixServMgmtSettings.ini", "[SMI]\nVariablesDir=" + Dir().Path() + "/vars\n");
  setenv("ORDIX_CONFIG_DIR", Dir().Path().c_str(), 1);
  Logger::CreateInstance()->SetSink([](const LogRecord& record) { (void)FormatLogRecord(record); });
  // The first use identifies the platform, which fails without the variable; the instance
  // stays for reading the variable again, input after input.
  try {
    Platform::PlatformImpl::GetInstance();
  } catch (const ResultStatus&) {
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  DecodeFile(std::vector<uint8_t>(data, data + size));
  NameFile(data, size);
  IdentifyBoard(data, size);
  return 0;
}
