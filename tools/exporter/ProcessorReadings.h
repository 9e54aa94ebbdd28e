#pragma once
// Processor metrics from the module's "/Platform/ProcessorInfo" answers.

#include <optional>
#include <string>

#include "Metrics.h"
#include "XNode.h"

namespace Exporter {

// The processor counts and, per package, whether its sensor status could be read and every
// state its sensor reports (states it does not report are left out).
Samples ProcessorSamples(const ResultMap& inventory);

// How many logical processors the inventory counts; nothing when it could not count them.
std::optional<unsigned> LogicalProcessorCount(const ResultMap& inventory);

// The query that samples the usage of logical processor n (0-based) over 200 ms.
std::string UsageQuery(unsigned n);

// The usage of logical processor n as a share of 1 from the answer to its query; nothing when it
// could not be sampled.
std::optional<double> UsageRatio(const ResultMap& answer, unsigned n);

}  // namespace Exporter
