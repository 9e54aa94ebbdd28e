#pragma once
// The processor component's inner routines: the pinned workers that identify processors, the
// machine-wide lock around identification, processor packages, the BMC's processor sensors and
// usage sampling. They return small codes that the component turns into error keys.

#include <cstdint>
#include <string>

namespace Sys {
class Event;
class NamedLock;
}  // namespace Sys

namespace Module::PlatformConfig {

// Result codes of the inner routines.
constexpr uint32_t kOk = 0;
constexpr uint32_t kFailed = 1;
constexpr uint32_t kNoSensor = 2;
constexpr uint32_t kMissingArgument = 4;
constexpr uint32_t kBmcQueryFailed = 6;
constexpr uint32_t kIndexOutOfRange = 11;
constexpr uint32_t kWaitTimedOut = 15;

// The one request a worker serves: identify the processor it runs on.
constexpr uint32_t kRequestIdentify = 4;

constexpr size_t kMaxWorkers = 64;
constexpr size_t kMaxPackages = 64;
constexpr size_t kLockNameSize = 260;
constexpr uint8_t kSensorNone = 0;
constexpr uint8_t kSensorUnknown = 0xFF;

// What a worker's identification yields, in the order of its result block.
struct PhysicalProcessorIdentity {
  uint32_t HTSupported, HTEnabled, MultiCoreSupported, Family, Model, Stepping;
  uint32_t LogicalCount;
  uint32_t LogicalNumbers[64];
};

struct PhysicalProcessorStatus {
  uint32_t SensorOwnerID, SensorOwnerLUN, SensorNumber;
  uint32_t ThermalTrip, IERR, FRB1, FRB2, FRB3, ConfigError, ProcessorThrottled;
};

// --- Sensors of the processor sockets (the BMC's view) ---

// The sockets the BMC sees populated: their processor sensor numbers into handles (up to four),
// their number into count (left alone when none is found). 4 missing output, 6 a BMC query
// failed.
uint32_t DiscoverProcessorSensors(uint32_t* count, uint8_t* handles, const std::string& family);

// The state of the socket whose processor sensor is sensor. 4 for sensor 255, a sensor not in
// the family's row or a socket without a second (throttling) sensor; 6 a BMC query failed.
uint32_t ReadCPUSensorStatus(uint32_t sensor, PhysicalProcessorStatus* out,
                             const std::string& family);

// --- Workers, one per logical processor of the process affinity mask ---

// 1 when every worker runs (tables refilled), 0 when they could not all be started (nothing is
// left running then).
uint32_t StartProcessorWorkers(const std::string& family, uint32_t physicalCount);
// Ends every worker by force and releases the management-bus driver; returns 1.
uint32_t StopProcessorWorkers();

// The worker's thread routine; parameter points at the worker's index.
uint32_t WorkerMain(void* parameter);
// Fills result (HTSupported, HTEnabled, MultiCoreSupported, Family, Model, Stepping) from the
// identification registers of the processor the caller runs on; 0, or 2 when they cannot be read.
uint32_t IdentifyProcessor(uint32_t result[6]);
// The identification-register primitive: in EAX (leaf) and ECX (sub-leaf), out all four.
// Non-zero on success.
int ReadProcessorIdRegisters(uint32_t block[4]);

uint32_t GetNumberOfLogicalProcessors(uint32_t* count);
uint32_t GetLogicalProcessorUsage(uint32_t logicalIndex, double* usage);
// The package table as the last start left it.
uint32_t PackageLogicalCount(uint32_t package);
uint32_t PackageLogicalNumber(uint32_t package, uint32_t position);
uint8_t PackageSensorHandle(uint32_t package);
uint64_t WorkerAffinityMask(uint32_t worker);
// Hands requestCode to the worker and waits at most 2000 ms for its answer: 1 on a lost or
// failed exchange, else the worker's status (result filled when 0). Workers serve only
// kRequestIdentify; any other code is answered with status 1.
uint32_t AskWorker(uint32_t worker, uint32_t requestCode, uint32_t result[6]);
uint32_t AskWorkerToIdentify(uint32_t worker, uint32_t result[6]);

uint32_t AcquireRegisterLock(uint64_t mask, Sys::NamedLock* handle, char* name);
uint32_t ReleaseRegisterLock(Sys::NamedLock* handle, char* name);
uint32_t SetWorkerEvent(Sys::Event* event, int set);
uint32_t WaitWorkerEvent(Sys::Event* event, uint32_t timeoutMs);
// 0, or the codes of Sys::GetProcessorPackageMasks; -1 for a missing argument.
int GetLogicalProcessorPackages(uint32_t* count, uint64_t* masks);

// The lock's polling, as the last start read it from the settings.
uint32_t PollInterval();
uint32_t PollAttempts();
// Reads and bounds the polling settings (done by every start).
void ReadPollSettings();

// --- Usage ---

// "% Processor Time" of counter instance logicalIndex over 200 ms. 0; -1 missing output; -2 the
// query could not be opened; -3 the counter not added; -4, -5 the first or second collection
// failed; -6 no value.
int SampleProcessorTime(uint32_t logicalIndex, double* usage);

}  // namespace Module::PlatformConfig
