#pragma once
// The in-process reference the SMBIOS benchmarks measure against: what a reader without the
// module does for the same answers, with nothing kept between calls.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace Bench {

inline uint32_t Little(const std::string& bytes, size_t at, size_t size) {
  uint32_t value = 0;
  for (size_t i = 0; i < size && at + i < bytes.size(); ++i)
    value |= uint32_t{static_cast<uint8_t>(bytes[at + i])} << (8 * i);
  return value;
}

// What a reader without the module does for the same answers: read the image, find the
// structure table from its entry point, and walk it, taking each processor's and memory
// device's fields and strings. Returns the number of fields taken.
inline size_t DecodeImage(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string image((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const bool v3 = image.compare(0, 5, "_SM3_") == 0;
  // Tables in these images follow their 32-byte entry point.
  size_t at = 0x20;
  const size_t end = at + (v3 ? Little(image, 0x0C, 4) : Little(image, 0x16, 2));
  size_t fields = 0;
  std::vector<std::string> strings;
  while (at + 4 <= end && at + 4 <= image.size()) {
    const uint8_t type = static_cast<uint8_t>(image[at]);
    const uint8_t length = static_cast<uint8_t>(image[at + 1]);
    if (length < 4 || at + length > image.size()) break;
    strings.clear();
    size_t s = at + length;
    while (s < image.size() && image[s] != '\0') {
      const size_t stop = image.find('\0', s);
      if (stop == std::string::npos) return fields;
      strings.emplace_back(image, s, stop - s);
      s = stop + 1;
    }
    const auto text = [&](size_t offset) {
      const uint32_t index = Little(image, at + offset, 1);
      return index >= 1 && index <= strings.size() ? strings[index - 1] : std::string();
    };
    if (type == 4) {
      benchmark::DoNotOptimize(Little(image, at + 0x18, 1));  // status
      benchmark::DoNotOptimize(Little(image, at + 0x16, 2));  // current speed
      benchmark::DoNotOptimize(Little(image, at + 0x12, 2));  // external clock
      benchmark::DoNotOptimize(Little(image, at + 0x06, 1));  // family
      benchmark::DoNotOptimize(text(0x10));                   // version
      fields += 5;
    } else if (type == 16) {
      benchmark::DoNotOptimize(Little(image, at + 0x04, 3));  // location, use, correction
      benchmark::DoNotOptimize(Little(image, at + 0x0D, 2));  // devices
      fields += 4;
    } else if (type == 17) {
      benchmark::DoNotOptimize(Little(image, at + 0x04, 2));  // array handle
      benchmark::DoNotOptimize(Little(image, at + 0x08, 6));  // widths, size
      benchmark::DoNotOptimize(Little(image, at + 0x0E, 1));  // form factor
      benchmark::DoNotOptimize(Little(image, at + 0x12, 3));  // type, detail
      benchmark::DoNotOptimize(Little(image, at + 0x15, 2));  // speed
      benchmark::DoNotOptimize(text(0x10));                   // locator
      benchmark::DoNotOptimize(text(0x11));                   // bank
      fields += 10;
    } else if (type == 127) {
      break;
    }
    at = s + (s == at + length ? 2 : 1);  // past the double NUL
  }
  return fields;
}

}  // namespace Bench
