#include "processor/ProcessorImpl.h"

namespace Module::PlatformConfig {

// The processor inventory needs the SMBIOS, BMC and worker sources, not read by this build yet.
void Processor::Initialize(NodeTree& /*tree*/) {}

void Processor::ProcessUsageQuery(const std::string& /*query*/, NodeTree& /*tree*/) {}

}  // namespace Module::PlatformConfig
