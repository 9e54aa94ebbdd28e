// The pinned workers: one thread per logical processor the process may run on, each answering
// identification requests on its own processor; the packages they belong to; the machine-wide
// lock taken around each identification.

#include "processor/CPUInternalFunc.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <vector>

#include "platform/ImbChannel.h"
#include "sys/Event.h"
#include "sys/NamedLock.h"
#include "sys/Process.h"
#include "sys/ProcessorTopology.h"
#include "sys/SettingsFile.h"
#include "sys/Thread.h"

namespace Module::PlatformConfig {

namespace {

constexpr uint32_t kAnswerWaitMs = 2000;
constexpr const char* kLockPrefix = "Global\\ORDIX_CPU_MSR_MUTEX_";
constexpr unsigned long kLockSuffix = 0x1234ABDC;
constexpr const char* kPollSection = "MSRObjectTimeouts";
constexpr uint32_t kDefaultPollInterval = 10, kMinPollInterval = 1, kMaxPollInterval = 30;
constexpr uint32_t kDefaultPollAttempts = 50, kMinPollAttempts = 30, kMaxPollAttempts = 100;

struct WorkerRecord {
  Sys::Thread thread;
  Sys::Event requestEvent;
  Sys::Event responseEvent;
  uint64_t affinityMask = 0;
  // Written by one side before it signals, read by the other after its wait returns.
  std::atomic<uint32_t> status{0};
  uint32_t threadId = 0;
  uint32_t index = 0;  // the thread's start parameter points here
  std::atomic<uint32_t> requestCode{0};
  std::array<std::atomic<uint32_t>, 6> result{};

  void Clear() {
    thread.Terminate(~0u);
    requestEvent.Close();
    responseEvent.Close();
    affinityMask = 0;
    status = 0;
    threadId = 0;
    index = 0;
    requestCode = 0;
    for (auto& r : result) r = 0;
  }
};

struct PackageRecord {
  uint8_t sensorHandle = kSensorNone;
  uint32_t logicalCount = 0;
  std::array<uint32_t, kMaxWorkers> logicalNumbers{};
};

// Process-wide, as the threads refer to their records by address; refilled at every start.
struct WorkerState {
  uint32_t workerCount = 0;
  uint32_t packageCount = 0;
  uint32_t pollInterval = 0;
  uint32_t pollAttempts = 0;
  std::array<WorkerRecord, kMaxWorkers> workers;
  std::array<PackageRecord, kMaxPackages> packages;
};
WorkerState gState;

void ClearState() {
  gState.workerCount = 0;
  gState.packageCount = 0;
  gState.pollInterval = 0;
  gState.pollAttempts = 0;
  for (WorkerRecord& w : gState.workers) w.Clear();
  gState.packages.fill(PackageRecord{});
}

void SetPackageSensors(const std::string& family, uint32_t physicalCount) {
  std::array<uint8_t, kMaxPackages> handles;
  handles.fill(kSensorUnknown);
  uint32_t count = 0;
  if (DiscoverProcessorSensors(&count, handles.data(), family) != kOk) {
    for (PackageRecord& p : gState.packages) p.sensorHandle = kSensorUnknown;
  } else {
    for (uint32_t p = 0; p < count && p < kMaxPackages; ++p) {
      gState.packages[p].sensorHandle = handles[p];
    }
    gState.packageCount = count;
  }
  if (gState.packageCount == 0) gState.packageCount = physicalCount;
}

// Each worker joins the package whose mask holds its processor. Packages the OS counts
// differently from the BMC and SMBIOS are left without processors rather than guessed at.
void GroupWorkersIntoPackages() {
  std::array<uint64_t, kMaxPackages> masks{};
  uint32_t m = 0;
  if (GetLogicalProcessorPackages(&m, masks.data()) != 0 || m == 0) return;
  if (gState.packageCount == 0) gState.packageCount = m;
  if (gState.packageCount != m) return;
  for (uint32_t p = 0; p < m; ++p) {
    PackageRecord& package = gState.packages[p];
    for (uint32_t w = 0; w < gState.workerCount; ++w) {
      if (gState.workers[w].affinityMask & masks[p]) {
        package.logicalNumbers[package.logicalCount++] = w;
      }
    }
  }
}

bool StartWorker(uint32_t w) {
  WorkerRecord& record = gState.workers[w];
  record.index = w;
  record.requestEvent = Sys::Event::CreateManualReset();
  record.responseEvent = Sys::Event::CreateManualReset();
  if (!record.requestEvent.IsValid() || !record.responseEvent.IsValid()) return false;
  record.requestCode = 0;
  for (auto& r : record.result) r = 0;
  record.thread = Sys::Thread::Create(&WorkerMain, &record.index);
  if (!record.thread.IsValid()) return false;
  record.threadId = record.thread.Id();
  if (!record.thread.SetAffinity(record.affinityMask)) return false;
  return record.thread.Resume() != -1;
}

void EndWorkers() {
  for (uint32_t w = 0; w < gState.workerCount; ++w) {
    WorkerRecord& record = gState.workers[w];
    record.thread.Terminate(~0u);
    record.requestEvent.Close();
    record.responseEvent.Close();
  }
  Platform::UnloadImbLibrary();
}

}  // namespace

void ReadPollSettings() {
  uint32_t interval = Sys::GetSettingsInt(kPollSection, "PollInterval", kDefaultPollInterval);
  if (interval < kMinPollInterval || interval > kMaxPollInterval) interval = kDefaultPollInterval;
  uint32_t attempts = Sys::GetSettingsInt(kPollSection, "PollAttempts", kDefaultPollAttempts);
  if (attempts < kMinPollAttempts || attempts > kMaxPollAttempts) attempts = kDefaultPollAttempts;
  gState.pollInterval = interval;
  gState.pollAttempts = attempts;
}

uint32_t PollInterval() {
  return gState.pollInterval;
}
uint32_t PollAttempts() {
  return gState.pollAttempts;
}

uint32_t StartProcessorWorkers(const std::string& family, uint32_t physicalCount) {
  ClearState();
  uint64_t processMask = 0, systemMask = 0;
  if (!Sys::GetProcessAffinityMask(processMask, systemMask)) return 0;
  for (uint32_t b = 0; b < kMaxWorkers; ++b) {
    if (processMask & (uint64_t{1} << b)) {
      gState.workers[gState.workerCount++].affinityMask = uint64_t{1} << b;
    }
  }
  if (gState.workerCount == 0) return 0;

  SetPackageSensors(family, physicalCount);
  GroupWorkersIntoPackages();
  ReadPollSettings();

  for (uint32_t w = 0; w < gState.workerCount; ++w) {
    if (!StartWorker(w)) {
      EndWorkers();
      return 0;
    }
  }
  return 1;
}

uint32_t StopProcessorWorkers() {
  EndWorkers();
  return 1;
}

uint32_t WorkerMain(void* parameter) {
  WorkerRecord& record = gState.workers[*static_cast<const uint32_t*>(parameter)];
  if (!Sys::SetCurrentThreadAffinity(record.affinityMask)) return 1;
  for (;;) {
    const bool asked =
        record.requestEvent.Wait(Sys::Event::kInfinite) == Sys::Event::WaitResult::Signalled;
    record.requestEvent.Reset();
    if (!asked) break;
    uint32_t result[6] = {};
    uint32_t status = 1;
    if (record.requestCode == kRequestIdentify) status = IdentifyProcessor(result);
    for (int i = 0; i < 6; ++i) record.result[i] = result[i];
    record.status = status;
    record.responseEvent.Set();
  }
  // Whoever waits for an answer is released, with a failure.
  record.status = 1;
  record.responseEvent.Set();
  return 1;
}

uint32_t GetNumberOfLogicalProcessors(uint32_t* count) {
  if (count == nullptr) return kMissingArgument;
  *count = gState.workerCount;
  return gState.workerCount == 0 ? kFailed : kOk;
}

uint32_t GetLogicalProcessorUsage(uint32_t logicalIndex, double* usage) {
  if (logicalIndex >= gState.workerCount) return kIndexOutOfRange;
  return SampleProcessorTime(logicalIndex, usage) != 0 ? kFailed : kOk;
}

uint32_t PackageLogicalCount(uint32_t package) {
  return package < kMaxPackages ? gState.packages[package].logicalCount : 0;
}

uint32_t PackageLogicalNumber(uint32_t package, uint32_t position) {
  if (package >= kMaxPackages || position >= kMaxWorkers) return 0;
  return gState.packages[package].logicalNumbers[position];
}

uint8_t PackageSensorHandle(uint32_t package) {
  return package < kMaxPackages ? gState.packages[package].sensorHandle : kSensorNone;
}

uint64_t WorkerAffinityMask(uint32_t worker) {
  return worker < kMaxWorkers ? gState.workers[worker].affinityMask : 0;
}

uint32_t AskWorkerToIdentify(uint32_t worker, uint32_t result[6]) {
  return AskWorker(worker, kRequestIdentify, result);
}

uint32_t AskWorker(uint32_t worker, uint32_t requestCode, uint32_t result[6]) {
  if (worker >= gState.workerCount) return kFailed;
  WorkerRecord& record = gState.workers[worker];
  record.requestCode = requestCode;
  SetWorkerEvent(&record.requestEvent, 1);
  const uint32_t waited = WaitWorkerEvent(&record.responseEvent, kAnswerWaitMs);
  SetWorkerEvent(&record.responseEvent, 0);
  if (waited == kWaitTimedOut) {
    SetWorkerEvent(&record.responseEvent, 0);
    return kFailed;
  }
  if (waited != kOk) return kFailed;
  const uint32_t status = record.status;
  if (status == kOk) {
    for (int i = 0; i < 6; ++i) result[i] = record.result[i];
  }
  return status;
}

uint32_t AcquireRegisterLock(uint64_t mask, Sys::NamedLock* handle, char* name) {
  if (mask == 0 || handle == nullptr || name == nullptr) return kMissingArgument;
  std::snprintf(name, kLockNameSize, "%s%08lX", kLockPrefix, kLockSuffix);
  if (gState.pollAttempts == 0) return kFailed;
  for (uint32_t attempt = 0;;) {
    Sys::NamedLock::Outcome outcome;
    Sys::NamedLock lock = Sys::NamedLock::Create(name, outcome);
    if (outcome == Sys::NamedLock::Outcome::Created) {
      *handle = std::move(lock);
      return kOk;
    }
    if (outcome != Sys::NamedLock::Outcome::AlreadyExists) return kFailed;
    // Another holder: let go of our handle at once, so the object vanishes with theirs.
    lock.Close();
    Sys::SleepMilliseconds(gState.pollInterval);
    if (++attempt >= gState.pollAttempts) return kFailed;
  }
}

uint32_t ReleaseRegisterLock(Sys::NamedLock* handle, char* /*name*/) {
  if (handle == nullptr || !handle->IsValid()) return kMissingArgument;
  handle->Close();
  return kOk;
}

uint32_t SetWorkerEvent(Sys::Event* event, int set) {
  if (event == nullptr) return kMissingArgument;
  const bool done = set == 1 ? event->Set() : event->Reset();
  return done ? kOk : kFailed;
}

uint32_t WaitWorkerEvent(Sys::Event* event, uint32_t timeoutMs) {
  if (event == nullptr) return kMissingArgument;
  switch (event->Wait(timeoutMs)) {
    case Sys::Event::WaitResult::Signalled:
      return kOk;
    case Sys::Event::WaitResult::TimedOut:
      return kWaitTimedOut;
    case Sys::Event::WaitResult::Failed:
      break;
  }
  return kFailed;
}

int GetLogicalProcessorPackages(uint32_t* count, uint64_t* masks) {
  if (count == nullptr || masks == nullptr) return -1;
  *count = 0;
  for (size_t i = 0; i < kMaxPackages; ++i) masks[i] = 0;
  std::vector<uint64_t> found;
  const int code = Sys::GetProcessorPackageMasks(found, kMaxPackages);
  if (code != Sys::kPackagesOk) return code;
  for (size_t i = 0; i < found.size() && i < kMaxPackages; ++i) masks[i] = found[i];
  *count = static_cast<uint32_t>(found.size() < kMaxPackages ? found.size() : kMaxPackages);
  return 0;
}

}  // namespace Module::PlatformConfig
