#include "processor/ProcessorImpl.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ErrorReport.h"
#include "Format.h"
#include "Paths.h"
#include "platform/PlatformImpl.h"
#include "sys/NamedLock.h"

namespace Module::PlatformConfig {

namespace {

using namespace Paths;

constexpr const char* kSource = ".\\ProcessorImpl";
constexpr const char* kFillFunction = "Module::PlatformConfig::Processor::FillProcessorInfoMap";
constexpr ErrorSite kNoPlatformSite{kSource,
                                    "Module::PlatformConfig::Processor::InitializePlatform", 43};
constexpr ErrorSite kNoSocketSite{kSource, kFillFunction, 108};
constexpr ErrorSite kNoLogicalSite{kSource, kFillFunction, 156};
constexpr ErrorSite kIdentitySite{kSource, kFillFunction, 226};
constexpr ErrorSite kStatusSite{kSource, kFillFunction, 268};
constexpr ErrorSite kUsageSite{kSource, "Module::PlatformConfig::Processor::GetUsage", 331};

constexpr uint16_t kErrNoPlatform = 1029;
constexpr uint16_t kErrNoLogical = 1030;
constexpr uint16_t kErrIdentity = 1031;
constexpr uint16_t kErrStatus = 1032;
constexpr uint16_t kErrUsage = 1033;
constexpr uint16_t kErrNoSocket = 1035;

constexpr const char* kLogicalCountError = "ERROR_GET_LOGICAL_PROCESSOR_NO";
constexpr const char* kStatusError = "ERROR_GET_PHYSICAL_PROCESSOR_STATUS";
constexpr const char* kUsageError = "ERROR_GET_LOGICAL_PROCESSOR_USAGE";

// Fields are printed as "%d" prints them: all ones (not reported) reads -1.
std::string Decimal(uint32_t value) {
  return DecimalText(static_cast<int32_t>(value));
}

std::string Indexed(const char* name, uint32_t index) {
  return std::string(name) + "[" + std::to_string(index) + "]";
}

const char* TrueFalse(uint32_t flag) {
  return flag == 1 ? "TRUE" : "FALSE";
}

// Named only for one, two and four cores: other counts have no name.
const char* ProcessorType(uint32_t cores) {
  switch (cores) {
    case 1:
      return "SingleCore";
    case 2:
      return "DualCore";
    case 4:
      return "QuadCore";
    default:
      return "";
  }
}

// Stops the workers a build starts however the build ends: an error thrown after their start
// (a ResultStatus or any other exception) must not leave their threads, events and the driver
// behind until the next start.
class StopWorkersOnExit {
 public:
  StopWorkersOnExit() = default;
  ~StopWorkersOnExit() { StopProcessorWorkers(); }
  StopWorkersOnExit(const StopWorkersOnExit&) = delete;
  StopWorkersOnExit& operator=(const StopWorkersOnExit&) = delete;
};

std::string Usage(double percent) {
  char text[64];
  std::snprintf(text, sizeof text, "%f", percent);
  return text;
}

}  // namespace

void Processor::Initialize(NodeTree& tree) {
  InitializePlatform();
  AddNode(kPlatform, "/ProcessorInfo", "", 1, tree);
  const StopWorkersOnExit stop;
  FillProcessorInfoMap(tree);
}

void Processor::InitializePlatform() {
  platform_ = Platform::PlatformImpl::GetInstance();
  if (platform_ == nullptr) ReportError(kErrNoPlatform, kNoPlatformSite);
}

std::string Processor::Family() const {
  return platform_ != nullptr ? platform_->family : std::string();
}

void Processor::FillProcessorInfoMap(NodeTree& tree) {
  const uint32_t sockets = AddSockets(tree);
  if (sockets == 0) {
    ReportError(kErrNoSocket, kNoSocketSite);
    return;
  }
  physicalCount_ = sockets;
  AddNode(kProcessorInfo, "/NumberOfPhysicalProcessor", Decimal(sockets), 0, tree);
  if (StartProcessorWorkers(Family(), sockets) != 1) return;

  uint32_t logical = 0;
  if (GetNumberOfLogicalProcessors(&logical) != kOk || logical == 0) {
    AddNode(kProcessorInfo, "/NumberOfLogicalProcessor", kLogicalCountError, 0, tree);
    ReportError(kErrNoLogical, kNoLogicalSite);
  } else {
    AddNode(kProcessorInfo, "/NumberOfLogicalProcessor", Decimal(logical), 0, tree);
  }
  for (uint32_t k = 0; k < physicalCount_; ++k) {
    AddIdentity(k, tree);
    AddStatus(k, tree);
  }
}

uint32_t Processor::AddSockets(NodeTree& tree) {
  ResultMap answer;
  const std::vector<std::string> entries = GetQuery("/SMBIOS/Type4/@children", answer);
  uint32_t populated = 0;
  for (size_t i = 1; i <= entries.size(); ++i) {
    const std::string smbios = Indexed("/SMBIOS/Type4", static_cast<uint32_t>(i));
    ResultMap status;
    const std::vector<std::string> values = GetQuery((smbios + "/Status").c_str(), status);
    if (values.empty() || values.front().find("Yes") == std::string::npos) continue;

    const std::string name = "/" + Indexed("PhysicalProcessorInfo", static_cast<uint32_t>(i));
    const std::string socket = kProcessorInfo + name;
    AddNode(kProcessorInfo, name, "", 1, tree);
    ++populated;
    const std::pair<const char*, const char*> copies[] = {
        {"/ProcessorOperatingSpeed", "/CurrentSpeed"},
        {"/ProcessorExternalFrequency", "/ClockFrequency"},
        {"/ProcessorFamily", "/ProcessorFamily"},
        {"/ProcessorVersion", "/ProcessorVersion"},
    };
    for (const auto& [leaf, key] : copies) {
      AddNode(socket, leaf, GetBIOSValue(smbios, key, tree), 0, tree);
    }
  }
  return populated;
}

void Processor::AddIdentity(uint32_t k, NodeTree& tree) {
  PhysicalProcessorIdentity identity;
  if (GetPhysicalProcessorInfo(k, &identity) != kOk) {
    ReportError(kErrIdentity, kIdentitySite);
    return;
  }
  const std::string name = "/" + Indexed("PhysicalProcessorInfo", k + 1);
  const std::string package = kProcessorInfo + name;
  // Packages are numbered 1..P while sockets keep their SMBIOS index, so with an empty socket
  // ahead this record is not there yet; it is made, so its leaves are reachable from the tree.
  // (Nodes of earlier builds stay in the tree, so what counts is this build's list.)
  const auto parent = tree.find(kProcessorInfo);
  const bool listed = parent != tree.end() && parent->second &&
                      std::find(parent->second->list.begin(), parent->second->list.end(),
                                package) != parent->second->list.end();
  if (!listed) AddNode(kProcessorInfo, name, "", 1, tree);

  const uint32_t cores =
      identity.HTEnabled == 1 ? identity.LogicalCount / 2 : identity.LogicalCount;
  AddNode(package, "/IsHTSupported", TrueFalse(identity.HTSupported), 0, tree);
  AddNode(package, "/IsHTEnabled", TrueFalse(identity.HTEnabled), 0, tree);
  AddNode(package, "/IsMultiCoreSupported", TrueFalse(identity.MultiCoreSupported), 0, tree);
  AddNode(package, "/ProcessorType", ProcessorType(cores), 0, tree);
  AddNode(package, "/ProcessorStepping", Decimal(identity.Stepping), 0, tree);
  AddNode(package, "/TotalNoOfLogicalProcessors", Decimal(identity.LogicalCount), 0, tree);
  for (uint32_t j = 1; j <= identity.LogicalCount && j <= kMaxWorkers; ++j) {
    AddNode(package, "/" + Indexed("LogicalProcessorNumbers", j),
            Decimal(identity.LogicalNumbers[j - 1] + 1), 0, tree);
  }
}

void Processor::AddStatus(uint32_t k, NodeTree& tree) {
  const std::string name = "/" + Indexed("PhysicalProcessorStatus", k + 1);
  PhysicalProcessorStatus status;
  if (GetPhysicalProcessorStatus(k, &status) != kOk) {
    AddNode(kProcessorInfo, name, kStatusError, 1, tree);
    ReportError(kErrStatus, kStatusSite);
    return;
  }
  const std::string path = kProcessorInfo + name;
  AddNode(kProcessorInfo, name, "", 1, tree);
  AddNode(path, "/SensorOwnerID", HexText(status.SensorOwnerID), 0, tree);
  AddNode(path, "/SensorOwnerLUN", HexText(status.SensorOwnerLUN), 0, tree);
  AddNode(path, "/SensorNumber", HexText(status.SensorNumber), 0, tree);
  AddNode(path, "/ThermalTrip", Decimal(status.ThermalTrip), 0, tree);
  AddNode(path, "/IERR", Decimal(status.IERR), 0, tree);
  AddNode(path, "/FRB1", Decimal(status.FRB1), 0, tree);
  AddNode(path, "/FRB2", Decimal(status.FRB2), 0, tree);
  AddNode(path, "/FRB3", Decimal(status.FRB3), 0, tree);
  AddNode(path, "/ProcessorThrottled", Decimal(status.ProcessorThrottled), 0, tree);
  AddNode(path, "/ConfigError", Decimal(status.ConfigError), 0, tree);
}

uint32_t Processor::GetNumberOfPhysicalProcessors(uint32_t* count) const {
  if (count == nullptr) return kMissingArgument;
  *count = physicalCount_;
  return physicalCount_ == 0 ? kFailed : kOk;
}

uint32_t Processor::GetPhysicalProcessorInfo(uint32_t k, PhysicalProcessorIdentity* out) const {
  if (out == nullptr) return kMissingArgument;
  if (k >= physicalCount_ || k >= kMaxPackages) return kIndexOutOfRange;
  std::memset(out, 0xFF, sizeof *out);
  const uint32_t logical = PackageLogicalCount(k);
  // A package without logical processors has nobody to ask; its record would be all ones.
  if (logical == 0) return kFailed;
  out->LogicalCount = logical;
  for (uint32_t j = 0; j < logical && j < kMaxWorkers; ++j) {
    out->LogicalNumbers[j] = PackageLogicalNumber(k, j);
  }
  const uint32_t worker = out->LogicalNumbers[0];

  Sys::NamedLock lock;
  char lockName[kLockNameSize];
  if (uint32_t code = AcquireRegisterLock(WorkerAffinityMask(worker), &lock, lockName)) {
    return code;
  }
  uint32_t result[6];
  const uint32_t code = AskWorkerToIdentify(worker, result);
  if (code == kOk) {
    out->HTSupported = result[0];
    out->HTEnabled = result[1];
    out->MultiCoreSupported = result[2];
    out->Family = result[3];
    out->Model = result[4];
    out->Stepping = result[5];
  }
  ReleaseRegisterLock(&lock, lockName);
  return code;
}

uint32_t Processor::GetPhysicalProcessorStatus(uint32_t k, PhysicalProcessorStatus* out) const {
  if (out == nullptr) return kMissingArgument;
  if (k >= physicalCount_ || k >= kMaxPackages) return kIndexOutOfRange;
  const uint8_t sensor = PackageSensorHandle(k);
  if (sensor == kSensorNone) return kNoSensor;
  if (sensor == kSensorUnknown) return kBmcQueryFailed;
  return ReadCPUSensorStatus(sensor, out, Family());
}

void Processor::GetUsage(uint32_t index, NodeTree& tree) {
  const std::string name = "/" + Indexed("LogicalProcessor", index + 1);
  double usage = 0;
  if (GetLogicalProcessorUsage(index, &usage) != kOk) {
    AddNode(kProcessorInfo, name, kUsageError, 1, tree);
    ReportError(kErrUsage, kUsageSite);
    return;
  }
  AddNode(kProcessorInfo, name, "", 1, tree);
  AddNode(kProcessorInfo + name, "/LogicalProcessorUsage", Usage(usage), 0, tree);
}

void Processor::ProcessUsageQuery(const std::string& query, NodeTree& tree) {
  const StopWorkersOnExit stop;
  FillProcessorInfoMap(tree);
  // An index that is not plainly a number (one past 32 bits among them) names no processor.
  const std::optional<uint32_t> n = LastIndex(query);
  auto node = std::make_unique<_XNode>();
  node->kind = XNODE_VALUE;
  double usage = 0;
  const bool sampled = n && GetLogicalProcessorUsage(*n, &usage) == kOk;
  node->list.push_back(sampled ? Usage(usage) : kUsageError);
  tree.clear();
  tree[query] = std::move(node);
}

}  // namespace Module::PlatformConfig
