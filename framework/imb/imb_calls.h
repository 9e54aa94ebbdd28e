#pragma once
// Pieces of the C entry points that both libraries share.

#include <cstdint>

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

}  // namespace Ordix::Imb
