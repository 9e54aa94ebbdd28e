#pragma once
// Pieces of the C entry points that both libraries share.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "imb.h"

namespace Ordix::Imb {

// Runs body, turning any exception (an allocation failure) into the given status: nothing may
// unwind into a C caller.
template <typename Body>
int Guarded(int statusOnException, Body&& body) noexcept {
  try {
    return body();
  } catch (...) {
    return statusOnException;
  }
}

// Neither library queues asynchronous messages; a caller polling for one learns so at once.
inline int NoAsyncMessage(uint8_t* message, uint32_t* messageLength) {
  if (message == nullptr || messageLength == nullptr) return IMB_STATUS_INVALID_ARGUMENT;
  *messageLength = 0;
  return IMB_STATUS_NO_MESSAGE;
}

// Why the calling thread's last request failed, for GetImbpLastError; empty after a success.
// A plain array: a thread_local with a destructor would outlive the library once a caller
// unloads it, and the thread's exit would run code that is gone.
class LastErrorText {
 public:
  static constexpr size_t kCapacity = 1024;  // longer reasons are cut

  static void Set(const std::string& text) {
    char* out = Buffer();
    const size_t count = std::min(text.size(), kCapacity - 1);
    std::memcpy(out, text.data(), count);
    out[count] = '\0';
  }
  static void Clear() { Buffer()[0] = '\0'; }
  static std::string Get() { return Buffer(); }

  // GetImbpLastError's copy: at most capacity - 1 bytes and a terminating zero; the whole length.
  static int CopyTo(char* text, uint32_t capacity) {
    const char* last = Buffer();
    const size_t length = std::strlen(last);
    if (text != nullptr && capacity > 0) {
      const size_t count = std::min<size_t>(length, capacity - 1);
      std::memcpy(text, last, count);
      text[count] = '\0';
    }
    return static_cast<int>(length);
  }

 private:
  static char* Buffer() {
    static thread_local char text[kCapacity];
    return text;
  }
};

}  // namespace Ordix::Imb
