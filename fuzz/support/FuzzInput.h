#pragma once
// Reading a fuzz input piece by piece. Every read is bounded by what is left, so a harness
// never reads past the input whatever its shape; running out just yields less.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Fuzz {

class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  bool Empty() const { return pos_ >= size_; }
  size_t Left() const { return size_ - pos_; }

  // The next byte, or fallback when none is left.
  uint8_t Byte(uint8_t fallback = 0) { return Empty() ? fallback : data_[pos_++]; }

  // Up to count bytes.
  std::vector<uint8_t> Bytes(size_t count) {
    const size_t n = count < Left() ? count : Left();
    std::vector<uint8_t> out(data_ + pos_, data_ + pos_ + n);
    pos_ += n;
    return out;
  }

  // The text up to the next '\n' (consumed, not returned), or the rest when there is none.
  std::string Line() {
    size_t end = pos_;
    while (end < size_ && data_[end] != '\n') ++end;
    std::string line(reinterpret_cast<const char*>(data_) + pos_, end - pos_);
    pos_ = end < size_ ? end + 1 : end;
    return line;
  }

  std::string Rest() {
    std::string rest(reinterpret_cast<const char*>(data_) + pos_, Left());
    pos_ = size_;
    return rest;
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

// Every line of text (a last one without '\n' included), at most maxLines of them.
std::vector<std::string> Lines(std::string_view text, size_t maxLines);

// Stops the run with a message when a decoder broke one of its promises: the fuzzer keeps
// the input that did it, as it does for a crash.
void Require(bool holds, const char* promise);

}  // namespace Fuzz
