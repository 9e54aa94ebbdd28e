#pragma once
#include <cstdint>
#include <string>

namespace Sys {

// A performance-counter query for one counter "\Processor(N)\% Processor Time": the share of
// time logical processor N was busy between two collections. Windows: PDH. Linux: the cpuN line
// of <root>/proc/stat (see SetSourceRoot), busy = all time but idle and iowait. Move-only; the
// query is closed with the object.
class ProcessorTimeQuery {
 public:
  ProcessorTimeQuery() = default;
  ~ProcessorTimeQuery();
  ProcessorTimeQuery(ProcessorTimeQuery&& other) noexcept;
  ProcessorTimeQuery& operator=(ProcessorTimeQuery&& other) noexcept;
  ProcessorTimeQuery(const ProcessorTimeQuery&) = delete;
  ProcessorTimeQuery& operator=(const ProcessorTimeQuery&) = delete;

  // Each step returns false on failure; the caller maps the step to its own code.
  bool Open();
  // counterPath as the OS names it ("\Processor(3)\% Processor Time"); fails for a processor
  // the OS does not have or a path it does not know.
  bool AddCounter(const std::string& counterPath);
  bool Collect();
  // The percentage over the last two collections, in [0, 100].
  bool GetFormattedValue(double& percent);
  void RemoveCounter();
  void Close();

 private:
  struct State;
  State* state_ = nullptr;  // owned
};

}  // namespace Sys
