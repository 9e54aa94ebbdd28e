#include <gtest/gtest.h>

#include <prometheus/text_serializer.h>

#include <regex>
#include <set>

#include "Metrics.h"
#include "Render.h"
#include "UsageSweep.h"

namespace Exporter {
namespace {

using std::chrono::milliseconds;

TEST(MetricsTest, NamesFollowThePrometheusConventions) {
  const std::regex name("platform_[a-z_]+[a-z]");
  std::set<std::string> seen;
  for (const Metric metric : AllMetrics()) {
    const std::string n = InfoOf(metric).name;
    EXPECT_TRUE(std::regex_match(n, name)) << n;
    EXPECT_TRUE(seen.insert(n).second) << n << " twice";
    // Gauges only: "_total" is for counters; no unit but the base ones.
    EXPECT_EQ(n.find("_total"), std::string::npos) << n;
    for (const char* unit : {"_ms", "milli", "_mb", "megabytes", "percent", "_minutes"}) {
      EXPECT_EQ(n.find(unit), std::string::npos) << n;
    }
    EXPECT_FALSE(std::string(InfoOf(metric).help).empty()) << n;
  }
}

TEST(MetricsTest, FamiliesInCatalogueOrderWithHelpAndTypeAndOnlyWhatWasRead) {
  const Samples samples{{Metric::kDimmState, {{"slot", "A1"}}, 9},
                        {Metric::kUp, {{"source", "bmc"}}, 1},
                        {Metric::kDimmState, {{"slot", "B1"}}, 1}};
  const std::string text = prometheus::TextSerializer().Serialize(ToFamilies(samples));
  EXPECT_EQ(text, "# HELP platform_up " + std::string(InfoOf(Metric::kUp).help) +
                      "\n# TYPE platform_up gauge\nplatform_up{source=\"bmc\"} 1\n"
                      "# HELP platform_dimm_state " +
                      InfoOf(Metric::kDimmState).help +
                      "\n# TYPE platform_dimm_state gauge\n"
                      "platform_dimm_state{slot=\"A1\"} 9\nplatform_dimm_state{slot=\"B1\"} 1\n");
}

TEST(MetricsTest, WithoutTheBmcItsReadingsGoAndNothingReadsAsReadable) {
  const Samples samples{{Metric::kDimmState, {{"slot", "A1"}}, 9},
                        {Metric::kDimmStateReadable, {{"slot", "A1"}}, 1},
                        {Metric::kProcessorState, {{"state", "IERR"}}, 1},
                        {Metric::kProcessorStatusReadable, {{"package", "1"}}, 1},
                        {Metric::kCorrectedErrors, {}, 3},
                        {Metric::kUncorrectedErrors, {}, 1},
                        {Metric::kSlotSize, {{"slot", "A1"}}, 1024},
                        {Metric::kUp, {{"source", "bmc"}}, 1}};
  EXPECT_EQ(Render(WithoutBmcReadings(samples)),
            (Lines{"platform_dimm_state_readable{slot=A1} 0",
                   "platform_processor_status_readable{package=1} 0",
                   "platform_memory_slot_size_bytes{slot=A1} 1024", "platform_up{source=bmc} 1"}));
}

TEST(UsageSweepTest, RoundRobinFailuresAndShrinkingTakeValuesAwayTheSweepIsTimed) {
  UsageSweep sweep;
  const auto t0 = UsageSweep::Clock::time_point();
  EXPECT_FALSE(sweep.Next(t0)) << "no processors";
  sweep.Resize(3);
  for (unsigned expected : {0u, 1u, 2u}) {
    ASSERT_EQ(sweep.Next(t0 + milliseconds(expected * 200)), expected);
    sweep.Record(expected, 0.25 * expected, t0 + milliseconds(expected * 200 + 200));
  }
  EXPECT_EQ(Render(sweep.Published()),
            (Lines{"platform_processor_usage_ratio{logical_processor=0} 0",
                   "platform_processor_usage_ratio{logical_processor=1} 0.25",
                   "platform_processor_usage_ratio{logical_processor=2} 0.5",
                   "platform_processor_usage_sweep_seconds 0.6"}));
  ASSERT_EQ(sweep.Next(t0), 0u) << "round robin";
  sweep.Record(0, std::nullopt, t0);
  sweep.Resize(2);
  EXPECT_EQ(Render(sweep.Published()),
            (Lines{"platform_processor_usage_ratio{logical_processor=1} 0.25",
                   "platform_processor_usage_sweep_seconds 0.6"}));
  sweep.Resize(std::nullopt);
  EXPECT_EQ(Render(sweep.Published()), Lines{"platform_processor_usage_sweep_seconds 0.6"});
  sweep.Resize(1u << 30);
  sweep.Record(UsageSweep::kMaxProcessors, 1.0, t0);
  EXPECT_EQ(sweep.Published().size(), 1u) << "no processor past the bound";
}

}  // namespace
}  // namespace Exporter
