#include "platform/PlatformImpl.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "SMIProtocol.h"
#include "module/ErrorReport.h"
#include "module/ModuleErrors.h"
#include "platform/ImbChannel.h"
#include "platform/PlatformTables.h"

namespace Platform {

namespace {

using Module::PlatformConfig::ErrorSite;
using Module::PlatformConfig::ReportError;

// Where errors are logged. The lines are fixed so the log reads the same in every build; the
// malformed-request and short-reply sites report input that is refused rather than read past.
constexpr const char* kLogSource = ".\\PlatformImpl";
constexpr ErrorSite kSiteBadSignature{kLogSource, "Platform::PlatformImpl::GetPlatformIDfromSMI",
                                      167};
constexpr ErrorSite kSiteBadFirmwareGuid{kLogSource, "Platform::PlatformImpl::GetPlatformIDfromSMI",
                                         173};
constexpr ErrorSite kSiteNoResponseBlock{kLogSource, "Platform::PlatformImpl::execIPMICommand",
                                         212};
constexpr ErrorSite kSiteMalformedRequest{kLogSource, "Platform::PlatformImpl::execIPMICommand",
                                          229};
constexpr ErrorSite kSiteRequestFailed{kLogSource, "Platform::PlatformImpl::execIPMICommand", 258};
constexpr ErrorSite kSiteShortDeviceId{kLogSource, "Platform::PlatformImpl::IdentifyPlatform", 126};

// The firmware's version variable and the part of it identification reads.
constexpr char kVariableName[] = "FWVERSIONDATA";
const EFIGuid kVariableVendor{
    0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}};
constexpr uint32_t kVariableBufferBytes = 4096;
constexpr size_t kExaminedBytes = 261;
constexpr char kSignature[] = {'$', 'F', 'I', 'D'};
constexpr size_t kFirmwareGuidOffset = 16;
// {399648E0-8154-4D23-93DE-28254685A342} as the firmware stores it.
constexpr std::array<uint8_t, 16> kFirmwareGuid = {0xE0, 0x48, 0x96, 0x39, 0x54, 0x81, 0x23, 0x4D,
                                                   0x93, 0xDE, 0x28, 0x25, 0x46, 0x85, 0xA3, 0x42};
constexpr size_t kBoardIdOffset = 83;
constexpr size_t kBoardIdBytes = 40;
static_assert(kBoardIdOffset + kBoardIdBytes <= kExaminedBytes);

// Get Device ID to the controller; the product ID is in response data bytes 9 (low) and 10
// (high), which follow the completion code in the response vector.
constexpr const char* kGetDeviceIdRequest = "20 06 00 01";
constexpr size_t kProductIdLow = 10;
constexpr size_t kProductIdHigh = 11;

constexpr size_t kRequestHeaderTokens = 4;  // slave address, network function, LUN, command
constexpr int kHexBase = 16;

std::u16string Widen(const char* text, size_t lengthWithNul) {
  std::u16string wide;
  for (size_t i = 0; i < lengthWithNul; ++i) wide.push_back(static_cast<char16_t>(text[i]));
  return wide;
}

std::array<uint8_t, kExaminedBytes> ReadFirmwareVariable() {
  std::vector<uint8_t> buffer(kVariableBufferBytes, 0);
  EFIVar var;
  var.name = Widen(kVariableName, sizeof kVariableName);
  var.vendorGuid = kVariableVendor;
  var.dataSize = kVariableBufferBytes;
  var.data = buffer.data();
  // A variable that cannot be read leaves the buffer zeroed, which the signature check
  // rejects: the status adds nothing.
  SMIProtocolImpl().GetVariable(var);
  std::array<uint8_t, kExaminedBytes> head{};
  std::copy(buffer.begin(), buffer.begin() + kExaminedBytes, head.begin());
  return head;
}

uint8_t ParseHexByte(const std::string& token) {
  return static_cast<uint8_t>(std::strtol(token.c_str(), nullptr, kHexBase));
}

IpmiRequestBuffer ParseRequest(const std::vector<std::string>& tokens) {
  IpmiRequestBuffer request;
  request.rsSa = ParseHexByte(tokens[0]);
  request.cmd = ParseHexByte(tokens[3]);
  request.netFn = ParseHexByte(tokens[1]);
  request.rsLun = ParseHexByte(tokens[2]);
  for (size_t i = kRequestHeaderTokens; i < tokens.size(); ++i) {
    request.data.push_back(ParseHexByte(tokens[i]));
  }
  return request;
}

std::vector<std::string> FormatResponse(const IpmiResponseBuffer& reply) {
  std::vector<std::string> out{std::to_string(reply.completionCode)};
  char text[4];
  for (size_t i = 0; i < reply.dataLength && i < reply.data.size(); ++i) {
    std::snprintf(text, sizeof text, "%x", static_cast<unsigned>(reply.data[i]));
    out.emplace_back(text);
  }
  return out;
}

template <size_t N>
std::vector<std::string> FormatSensors(const std::array<uint8_t, N>& sensors) {
  std::vector<std::string> out;
  out.reserve(N);
  char text[4];
  for (const uint8_t sensor : sensors) {
    std::snprintf(text, sizeof text, "%02x", static_cast<unsigned>(sensor));
    out.emplace_back(text);
  }
  return out;
}

}  // namespace

PlatformImpl* PlatformImpl::m_pInstance = nullptr;

PlatformImpl* PlatformImpl::GetInstance() {
  if (m_pInstance == nullptr) {
    static PlatformImpl instance;  // destroyed at process exit
    m_pInstance = &instance;
    m_pInstance->IdentifyPlatform();
  }
  return m_pInstance;
}

void PlatformImpl::IdentifyPlatform() {
  InitBoardTable();
  GetPlatformIDfromSMI(boardId);
  family = LookupBoardFamily(boardId);
  if (!family.empty()) return;
  std::vector<std::string> response;
  execIPMICommand(kGetDeviceIdRequest, response);
  // A reply without the product ID (an error completion code, a controller answering short)
  // cannot name a family; it fails the request instead of reading past the reply.
  if (response.size() <= kProductIdHigh) {
    throw ReportError(ModuleError::kIpmiRequest, kSiteShortDeviceId, kGetDeviceIdRequest,
                      XCOMMAND_PROCESS_XQUERY);
  }
  family = GetFamilyFromProductID(response[kProductIdLow] + response[kProductIdHigh]);
}

void PlatformImpl::GetPlatformIDfromSMI(std::string& board) {
  const std::array<uint8_t, kExaminedBytes> head = ReadFirmwareVariable();
  if (std::memcmp(head.data(), kSignature, sizeof kSignature) != 0) {
    throw ReportError(ModuleError::kFirmwareVariable, kSiteBadSignature);
  }
  if (std::memcmp(head.data() + kFirmwareGuidOffset, kFirmwareGuid.data(), kFirmwareGuid.size()) !=
      0) {
    throw ReportError(ModuleError::kFirmwareVariable, kSiteBadFirmwareGuid);
  }
  // The field need not end in a NUL: a 40-character identifier fills it.
  const char* field = reinterpret_cast<const char*>(head.data() + kBoardIdOffset);
  board.assign(field, strnlen(field, kBoardIdBytes));
}

void PlatformImpl::InitBoardTable() {
  for (const Tables::BoardRow& row : Tables::kBoardTable) boardTable_[row.boardId] = row.family;
}

std::string PlatformImpl::LookupBoardFamily(std::string board) {
  const auto found = boardTable_.find(board);
  return found != boardTable_.end() ? found->second : std::string();
}

std::string PlatformImpl::GetFamilyFromProductID(std::string productIdText) {
  for (const Tables::ProductRow& row : Tables::kProductTable) {
    if (productIdText == row.productId) return row.family;
  }
  return kOtherPlatform;
}

// Looking a board up adds it when unknown, with no family: later lookups then find "".
std::string& PlatformImpl::FamilyOf(const char* board) {
  return boardTable_[board != nullptr ? board : ""];
}

std::vector<std::string> PlatformImpl::GetDimmSensorNumbers(const char* board) {
  return FormatSensors(Tables::DimmSensors(FamilyOf(board)));
}

std::vector<std::string> PlatformImpl::GetSensorGroupA(const char* board) {
  return FormatSensors(Tables::SensorGroupA(FamilyOf(board)));
}

std::vector<std::string> PlatformImpl::GetSensorGroupB(const char* board) {
  return FormatSensors(Tables::SensorGroupB(FamilyOf(board)));
}

void PlatformImpl::execIPMICommand(std::string request, std::vector<std::string>& response) {
  std::vector<std::string> tokens;
  SplitTokens(tokens, request, " ");
  // Without the four header bytes there is no request to send.
  if (tokens.size() < kRequestHeaderTokens) {
    throw ReportError(ModuleError::kIpmiRequest, kSiteMalformedRequest, request,
                      XCOMMAND_PROCESS_XQUERY);
  }
  std::unique_ptr<IpmiResponseBuffer> reply(new (std::nothrow) IpmiResponseBuffer());
  if (!reply) throw ReportError(ModuleError::kNoMemory, kSiteNoResponseBlock);
  const IpmiRequestBuffer parsed = ParseRequest(tokens);
  // A failed load shows up as "not loaded" from the send.
  LoadImbLibrary();
  if (SendImbRequest(&parsed, reply.get()) != kImbStatusSuccess) {
    throw ReportError(ModuleError::kIpmiRequest, kSiteRequestFailed, request,
                      XCOMMAND_PROCESS_XQUERY);
  }
  response = FormatResponse(*reply);
}

void PlatformImpl::SplitTokens(std::vector<std::string>& out, std::string text,
                               std::string delimiters) {
  out.clear();
  size_t start = 0;
  for (size_t end = text.find_first_of(delimiters); end != std::string::npos;
       end = text.find_first_of(delimiters, start)) {
    if (end != start) out.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  if (start < text.size()) out.push_back(text.substr(start));
}

}  // namespace Platform
