// Identification of the processor a worker runs on, from its identification registers.

#include "processor/CPUInternalFunc.h"

namespace Module::PlatformConfig {

namespace {

enum Register { kEax, kEbx, kEcx, kEdx };
constexpr uint32_t kLeafVersion = 1;
constexpr uint32_t kLeafCacheParameters = 4;
constexpr uint32_t kExtendedLeaves = 0x80000000u;
constexpr uint32_t kHyperThreadingBit = 1u << 28;  // EDX of leaf 1
constexpr uint32_t kMaxSubLeaves = 64;             // bounds a primitive that never says "none"
enum Result { kHTSupported, kHTEnabled, kMultiCore, kFamily, kModel, kStepping };

bool Read(uint32_t block[4], uint32_t leaf, uint32_t subLeaf) {
  block[kEax] = leaf;
  block[kEbx] = 0;
  block[kEcx] = subLeaf;
  block[kEdx] = 0;
  return ReadProcessorIdRegisters(block) != 0;
}

// Cores per package from the deterministic cache parameters, 1 when the leaf says nothing.
uint32_t CoresPerPackage(uint32_t block[4]) {
  uint32_t subLeaf = 0;
  if (!Read(block, kLeafCacheParameters, subLeaf) || (block[kEax] & 0x1F) == 0) return 1;
  while (subLeaf < kMaxSubLeaves && Read(block, kLeafCacheParameters, subLeaf + 1) &&
         (block[kEax] & 0x1F) != 0) {
    ++subLeaf;
  }
  // Only a cache level beyond the first tells the core count reliably.
  if (subLeaf == 0 || !Read(block, kLeafCacheParameters, 0)) return 1;
  return (block[kEax] >> 26) + 1;
}

}  // namespace

uint32_t IdentifyProcessor(uint32_t result[6]) {
  for (int i = 0; i < 6; ++i) result[i] = 0;
  uint32_t block[4];
  if (!Read(block, kLeafVersion, 0)) return kNoSensor;
  result[kFamily] = (block[kEax] >> 8) & 0xF;
  result[kModel] = (block[kEax] >> 4) & 0xF;
  result[kStepping] = block[kEax] & 0xF;

  if (!Read(block, 0, 0)) return kNoSensor;
  uint32_t cores = 1;
  if (block[kEax] >= kLeafCacheParameters && block[kEax] < kExtendedLeaves) {
    cores = CoresPerPackage(block);
    if (cores > 1) result[kMultiCore] = 1;
  }

  if (!Read(block, kLeafVersion, 0) || !(block[kEdx] & kHyperThreadingBit)) return kOk;
  result[kHTSupported] = 1;
  if (((block[kEbx] >> 16) & 0xFF) / cores > 1) result[kHTEnabled] = 1;
  return kOk;
}

}  // namespace Module::PlatformConfig
