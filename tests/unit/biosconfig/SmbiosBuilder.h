#pragma once
// Hand-made SMBIOS bytes: structures from fields and strings, entry points with correct
// checksums (tests break them afterwards), images laid out as dump tools write them.

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "ErrorMgr.h"
#include "ResultStatus.h"

namespace SmbiosTest {

using Bytes = std::vector<uint8_t>;
using Texts = std::vector<std::string>;

struct Field {
  size_t at;
  uint64_t value;
  size_t width = 1;
};

inline Bytes Put(Bytes bytes, size_t at, uint64_t value, size_t width = 1) {
  if (bytes.size() < at + width) bytes.resize(at + width);
  for (size_t i = 0; i < width; ++i) bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
  return bytes;
}

// A formatted area of `length` bytes, then the string set. Fields past the length are
// dropped, as an older, shorter structure lacks them.
inline Bytes Record(uint8_t type, uint16_t handle, uint8_t length,
                    std::initializer_list<Field> fields = {}, const Texts& strings = {}) {
  Bytes bytes = Put(Bytes(length), 0, type | length << 8 | uint32_t{handle} << 16, 4);
  for (const Field& f : fields) {
    if (f.at + f.width <= length) bytes = Put(std::move(bytes), f.at, f.value, f.width);
  }
  for (const std::string& s : strings)
    bytes.insert(bytes.end(), s.c_str(), s.c_str() + s.size() + 1);
  if (strings.empty()) bytes.push_back(0);
  bytes.push_back(0);
  return bytes;
}

inline const Bytes kEndOfTable = Record(127, 0xFEFF, 4);

inline Bytes Join(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// Sets the byte at `at` so that [from, from + count) sums to 0 modulo 256.
inline Bytes Seal(Bytes bytes, size_t at, size_t from, size_t count) {
  bytes[at] = 0;
  unsigned sum = 0;
  for (size_t i = from; i < from + count; ++i) sum += bytes[i];
  bytes[at] = static_cast<uint8_t>(256 - sum % 256);
  return bytes;
}
// Both 2.x checksums, over the standard lengths whatever the length byte says.
inline Bytes Seal2(Bytes ep) {
  return Seal(Seal(std::move(ep), 0x15, 0x10, 0x0F), 4, 0, 0x1F);
}

constexpr size_t kTableAddress = 0x20;

inline Bytes EntryPoint2(size_t tableLength, size_t count, uint8_t minor = 8) {
  Bytes ep = {'_', 'S', 'M', '_', 0, 0x1F, 2,   minor, 0,   0,  0,
              0,   0,   0,   0,   0, '_',  'D', 'M',   'I', '_'};
  ep = Put(Put(Put(std::move(ep), 0x16, tableLength, 2), 0x18, kTableAddress, 4), 0x1C, count, 2);
  return Seal2(Put(std::move(ep), 0x1E, 0));
}

inline Bytes EntryPoint3(size_t maxSize, uint64_t address = kTableAddress) {
  const Bytes ep = {'_', 'S', 'M', '3', '_', 0, 0x18, 3, 4};
  return Seal(Put(Put(ep, 0x0C, maxSize, 4), 0x10, address, 8), 5, 0, 0x18);
}

// A bare "_DMI_" entry point of DMI 2.0.
inline Bytes Legacy(size_t tableLength, size_t count) {
  Bytes ep = {'_', 'D', 'M', 'I', '_'};
  ep = Put(Put(Put(std::move(ep), 6, tableLength, 2), 8, kTableAddress, 4), 0x0C, count, 2);
  return Seal(Put(std::move(ep), 0x0E, 0x20), 5, 0, 0x0F);
}

// The entry point at 0, the table at kTableAddress.
inline Bytes Image(Bytes entryPoint, const Bytes& table) {
  entryPoint.resize(kTableAddress);
  return Join({entryPoint, table});
}

inline std::string Text(const Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

// Checks that call throws code, with the framework's sentence for it and a detail that
// mentions detailPart.
template <typename Call>
void ExpectStatus(uint16_t code, const std::string& detailPart, const std::string& context,
                  Call&& call) {
  try {
    call();
    ADD_FAILURE() << context << ": nothing thrown, expected " << code;
  } catch (const ResultStatus& status) {
    EXPECT_EQ(status.GetCode(), code) << context << ": " << status.GetDetail();
    EXPECT_EQ(status.GetMessage(), ErrorMgr::GetInstance()->Get(code)) << context;
    EXPECT_NE(status.GetDetail().find(detailPart), std::string::npos)
        << context << ": detail \"" << status.GetDetail() << "\" lacks \"" << detailPart << '"';
  }
}

}  // namespace SmbiosTest
