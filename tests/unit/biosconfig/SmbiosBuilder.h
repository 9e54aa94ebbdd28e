#pragma once
// Hand-made SMBIOS bytes for the tests: structures from fields and strings, entry points with
// correct checksums (tests that want a bad one break it afterwards), images as dumps lay them.

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace SmbiosTest {

using Bytes = std::vector<uint8_t>;

inline void Put(Bytes& bytes, size_t offset, uint64_t value, size_t width) {
  if (bytes.size() < offset + width) bytes.resize(offset + width);
  for (size_t i = 0; i < width; ++i) bytes[offset + i] = static_cast<uint8_t>(value >> (8 * i));
}

// One structure: a formatted area of `length` bytes with its header filled in, then strings.
class Record {
 public:
  Record(uint8_t type, uint16_t handle, uint8_t length) : area_(length) {
    Put(area_, 0, type, 1);
    Put(area_, 1, length, 1);
    Put(area_, 2, handle, 2);
  }
  // Fields beyond the length are dropped, as a shorter (older) structure lacks them.
  Record& U8(size_t offset, uint64_t v) { return Field(offset, v, 1); }
  Record& U16(size_t offset, uint64_t v) { return Field(offset, v, 2); }
  Record& U32(size_t offset, uint64_t v) { return Field(offset, v, 4); }
  Record& U64(size_t offset, uint64_t v) { return Field(offset, v, 8); }
  Record& Strings(std::vector<std::string> strings) {
    strings_ = std::move(strings);
    return *this;
  }
  operator Bytes() const {
    Bytes bytes = area_;
    for (const std::string& s : strings_) {
      bytes.insert(bytes.end(), s.begin(), s.end());
      bytes.push_back(0);
    }
    if (strings_.empty()) bytes.push_back(0);
    bytes.push_back(0);
    return bytes;
  }

 private:
  Record& Field(size_t offset, uint64_t v, size_t width) {
    if (offset + width <= area_.size()) Put(area_, offset, v, width);
    return *this;
  }
  Bytes area_;
  std::vector<std::string> strings_;
};

inline Bytes Join(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

inline Bytes EndOfTable() {
  return Record(127, 0xFEFF, 4);
}

inline uint8_t Checksum(const Bytes& bytes, size_t from, size_t count) {
  unsigned sum = 0;
  for (size_t i = from; i < from + count; ++i) sum += bytes[i];
  return static_cast<uint8_t>(256 - sum % 256);
}

constexpr size_t kTableAddress = 0x20;

inline Bytes EntryPoint2(size_t tableLength, size_t count, uint8_t major = 2, uint8_t minor = 8) {
  Bytes ep(0x1F);
  ep[0] = '_', ep[1] = 'S', ep[2] = 'M', ep[3] = '_';
  Put(ep, 5, 0x1F, 1);
  Put(ep, 6, major, 1);
  Put(ep, 7, minor, 1);
  for (size_t i = 0; i < 5; ++i) ep[0x10 + i] = static_cast<uint8_t>("_DMI_"[i]);
  Put(ep, 0x16, tableLength, 2);
  Put(ep, 0x18, kTableAddress, 4);
  Put(ep, 0x1C, count, 2);
  ep[0x15] = Checksum(ep, 0x10, 0x0F);
  ep[4] = Checksum(ep, 0, 0x1F);
  return ep;
}

inline Bytes EntryPoint3(size_t maxSize, uint64_t address = kTableAddress) {
  Bytes ep(0x18);
  for (size_t i = 0; i < 5; ++i) ep[i] = static_cast<uint8_t>("_SM3_"[i]);
  Put(ep, 6, 0x18, 1);
  Put(ep, 7, 3, 1);
  Put(ep, 8, 4, 1);
  Put(ep, 0x0C, maxSize, 4);
  Put(ep, 0x10, address, 8);
  ep[5] = Checksum(ep, 0, 0x18);
  return ep;
}

// Entry point at 0, table at kTableAddress.
inline Bytes Image(Bytes entryPoint, const Bytes& table) {
  entryPoint.resize(kTableAddress);
  return Join({entryPoint, table});
}

inline std::string Text(const Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace SmbiosTest
