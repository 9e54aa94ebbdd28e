#pragma once
// Samples as text lines ("name{label=value,...} value"), for comparing whole answers at a glance.

#include <sstream>
#include <string>
#include <vector>

#include "Metrics.h"

namespace Exporter {

inline std::vector<std::string> Render(const Samples& samples) {
  std::vector<std::string> lines;
  for (const Sample& sample : samples) {
    std::ostringstream line;
    line.precision(15);
    line << InfoOf(sample.metric).name;
    if (!sample.labels.empty()) {
      line << '{';
      for (size_t i = 0; i < sample.labels.size(); ++i) {
        line << (i ? "," : "") << sample.labels[i].first << '=' << sample.labels[i].second;
      }
      line << '}';
    }
    line << ' ' << sample.value;
    lines.push_back(line.str());
  }
  return lines;
}

using Lines = std::vector<std::string>;

}  // namespace Exporter
