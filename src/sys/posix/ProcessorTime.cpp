#include "sys/ProcessorTime.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

#include "TextParsers.h"
#include "sys/ProcessorTopology.h"

namespace Sys {

namespace Posix {

bool ParseProcessorCounterPath(const std::string& path, unsigned& cpu) {
  static const std::string kHead = "\\Processor(";
  static const std::string kTail = ")\\% Processor Time";
  if (path.size() <= kHead.size() + kTail.size() || path.compare(0, kHead.size(), kHead) != 0 ||
      path.compare(path.size() - kTail.size(), kTail.size(), kTail) != 0) {
    return false;
  }
  const std::string digits = path.substr(kHead.size(), path.size() - kHead.size() - kTail.size());
  if (digits.size() > 9 || digits.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  cpu = static_cast<unsigned>(std::strtoul(digits.c_str(), nullptr, 10));
  return true;
}

bool ParseProcStatCpu(const std::string& statText, unsigned cpu, CpuTimes& times) {
  const std::string label = "cpu" + std::to_string(cpu);
  std::istringstream lines(statText);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string first;
    if (!(fields >> first) || first != label) continue;
    // user nice system idle iowait irq softirq steal; guest, guest_nice are not read.
    uint64_t value[8] = {};
    int count = 0;
    for (std::string field; count < 8 && fields >> field; ++count) {
      if (field.find_first_not_of("0123456789") != std::string::npos) return false;
      errno = 0;
      value[count] = std::strtoull(field.c_str(), nullptr, 10);
      if (errno != 0) return false;
    }
    if (count < 4) return false;
    times.idle = value[3] + value[4];
    times.total = 0;
    for (uint64_t v : value) times.total += v;
    return true;
  }
  return false;
}

bool BusyPercent(const CpuTimes& first, const CpuTimes& second, double& percent) {
  if (second.total <= first.total) return false;
  const double total = static_cast<double>(second.total - first.total);
  // idle + iowait may step back (the kernel's iowait accounting does), so in doubles.
  const double idle = static_cast<double>(second.idle) - static_cast<double>(first.idle);
  const double busy = 100.0 * (total - idle) / total;
  percent = busy < 0.0 ? 0.0 : busy > 100.0 ? 100.0 : busy;
  return true;
}

}  // namespace Posix

namespace {

bool ReadCpuTimes(unsigned cpu, Posix::CpuTimes& times) {
  std::ifstream in(SourcePath("/proc/stat"));
  if (!in) return false;
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return Posix::ParseProcStatCpu(text, cpu, times);
}

}  // namespace

struct ProcessorTimeQuery::State {
  bool hasCounter = false;
  unsigned cpu = 0;
  unsigned collections = 0;  // up to 2: previous and last are both meaningful
  Posix::CpuTimes previous;
  Posix::CpuTimes last;
};

ProcessorTimeQuery::~ProcessorTimeQuery() {
  Close();
}

ProcessorTimeQuery::ProcessorTimeQuery(ProcessorTimeQuery&& other) noexcept
    : state_(std::exchange(other.state_, nullptr)) {}

ProcessorTimeQuery& ProcessorTimeQuery::operator=(ProcessorTimeQuery&& other) noexcept {
  if (this != &other) {
    Close();
    state_ = std::exchange(other.state_, nullptr);
  }
  return *this;
}

bool ProcessorTimeQuery::Open() {
  if (state_ == nullptr) state_ = new State;
  return true;
}

bool ProcessorTimeQuery::AddCounter(const std::string& counterPath) {
  unsigned cpu = 0;
  Posix::CpuTimes times;
  if (state_ == nullptr || !Posix::ParseProcessorCounterPath(counterPath, cpu) ||
      !ReadCpuTimes(cpu, times)) {
    return false;
  }
  *state_ = State{};
  state_->hasCounter = true;
  state_->cpu = cpu;
  return true;
}

bool ProcessorTimeQuery::Collect() {
  Posix::CpuTimes times;
  if (state_ == nullptr || !state_->hasCounter || !ReadCpuTimes(state_->cpu, times)) return false;
  state_->previous = state_->last;
  state_->last = times;
  if (state_->collections < 2) ++state_->collections;
  return true;
}

bool ProcessorTimeQuery::GetFormattedValue(double& percent) {
  if (state_ == nullptr || state_->collections < 2) return false;
  return Posix::BusyPercent(state_->previous, state_->last, percent);
}

void ProcessorTimeQuery::RemoveCounter() {
  if (state_ != nullptr) *state_ = State{};
}

void ProcessorTimeQuery::Close() {
  delete std::exchange(state_, nullptr);
}

}  // namespace Sys
