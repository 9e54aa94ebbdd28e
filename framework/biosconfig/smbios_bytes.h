#pragma once
// Bounds-checked little-endian reading of raw table bytes. Every read states how many bytes
// it needs and gets nullopt rather than a byte past the end, so decoders never index blindly.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Module::BIOSConfig {

using ByteVector = std::vector<uint8_t>;

// What a source hands to the decoders: the entry point and the structure table, undecoded.
struct SmbiosTables {
  ByteVector entryPoint;
  ByteVector table;
};

class ByteView {
 public:
  ByteView() = default;
  ByteView(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  // Implicit on purpose: decoders take a view and callers hold vectors.
  ByteView(const ByteVector& bytes) : data_(bytes.data()), size_(bytes.size()) {}

  size_t size() const { return size_; }
  const uint8_t* begin() const { return data_; }
  const uint8_t* end() const { return data_ + size_; }

  // Whether [offset, offset + count) lies inside the view; immune to offset + count overflow.
  bool Has(size_t offset, size_t count) const { return offset <= size_ && count <= size_ - offset; }

  // The unsigned little-endian integer of sizeof(T) bytes at offset.
  template <typename T>
  std::optional<T> Read(size_t offset) const {
    if (!Has(offset, sizeof(T))) return std::nullopt;
    uint64_t value = 0;
    for (size_t i = sizeof(T); i-- > 0;) value = (value << 8) | data_[offset + i];
    return static_cast<T>(value);
  }

  // [offset, offset + count) cut to what the view holds.
  ByteView Slice(size_t offset, size_t count) const {
    if (offset >= size_) return ByteView(data_ + size_, 0);
    return ByteView(data_ + offset, std::min(count, size_ - offset));
  }

  ByteVector Copy() const { return ByteVector(begin(), end()); }

 private:
  const uint8_t* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace Module::BIOSConfig
