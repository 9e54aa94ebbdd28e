#pragma once
// Pieces of the C entry points that both libraries share.

#include <algorithm>
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
inline std::string& LastError() {
  static thread_local std::string text;
  return text;
}

// GetImbpLastError's copy: at most capacity - 1 bytes and a terminating zero; the whole length.
inline int CopyLastError(char* text, uint32_t capacity) {
  const std::string& last = LastError();
  if (text != nullptr && capacity > 0) {
    const size_t count = std::min<size_t>(last.size(), capacity - 1);
    std::memcpy(text, last.data(), count);
    text[count] = '\0';
  }
  return static_cast<int>(last.size());
}

}  // namespace Ordix::Imb
