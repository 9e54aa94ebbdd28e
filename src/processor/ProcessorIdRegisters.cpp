// The identification-register primitive, on its own so that identification can be run over
// another one (a test's scripted processor) without touching the algorithm above it.

#include "processor/CPUInternalFunc.h"

namespace Module::PlatformConfig {

// This system reads no processor registers: the primitive answers every leaf with the block
// it was given. Identification above it is complete, so a real primitive changes nothing else.
int ReadProcessorIdRegisters(uint32_t /*block*/[4]) {
  return 1;
}

}  // namespace Module::PlatformConfig
