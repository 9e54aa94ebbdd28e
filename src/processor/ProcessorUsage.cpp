// "% Processor Time" of one logical processor, sampled over a fixed window.

#include <cstdio>

#include "processor/CPUInternalFunc.h"
#include "sys/Process.h"
#include "sys/ProcessorTime.h"

namespace Module::PlatformConfig {

namespace {
constexpr unsigned kSampleWindowMs = 200;
constexpr size_t kCounterPathSize = 2048;
}  // namespace

int SampleProcessorTime(uint32_t logicalIndex, double* usage) {
  if (usage == nullptr) return -1;
  char path[kCounterPathSize];
  std::snprintf(path, sizeof path, "\\Processor(%u)\\%% Processor Time", logicalIndex);

  Sys::ProcessorTimeQuery query;
  if (!query.Open()) return -2;
  if (!query.AddCounter(path)) {
    query.Close();
    return -3;
  }
  int code = 0;
  double value = 0;
  if (!query.Collect()) {
    code = -4;
  } else {
    Sys::SleepMilliseconds(kSampleWindowMs);
    if (!query.Collect()) {
      code = -5;
    } else if (!query.GetFormattedValue(value)) {
      code = -6;
    } else {
      *usage = value;
    }
  }
  query.RemoveCounter();
  query.Close();
  return code;
}

}  // namespace Module::PlatformConfig
