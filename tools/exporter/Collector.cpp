#include "Collector.h"

#include <cstdio>
#include <exception>
#include <optional>
#include <utility>

#include "Asking.h"
#include "FrameworkHost.h"
#include "ModuleBinding.h"
#include "ProcessorReadings.h"
#include "QueryRouter.h"
#include "Round.h"

namespace Exporter {

Collector::Collector(std::string modulePath, std::chrono::milliseconds interval,
                     SnapshotStore& store, FailureCounter& failures)
    : modulePath_(std::move(modulePath)), interval_(interval), store_(store), failures_(failures) {}

Collector::~Collector() {
  Stop();
}

std::string Collector::Start() {
  std::promise<std::string> loaded;
  std::future<std::string> outcome = loaded.get_future();
  // The thread owns the promise: it may still be inside set_value when get returns here.
  thread_ = std::thread([this, promise = std::move(loaded)]() mutable { Run(promise); });
  std::string error = outcome.get();
  if (!error.empty()) thread_.join();
  return error;
}

void Collector::Stop() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
}

bool Collector::Stopping() {
  std::lock_guard<std::mutex> lock(mutex_);
  return stopping_;
}

bool Collector::WaitUntil(std::chrono::steady_clock::time_point deadline) {
  std::unique_lock<std::mutex> lock(mutex_);
  wake_.wait_until(lock, deadline, [this] { return stopping_; });
  return !stopping_;
}

void Collector::Publish(const Samples& round, const UsageSweep& usage) {
  Samples all = round;
  const Samples usageSamples = usage.Published();
  all.insert(all.end(), usageSamples.begin(), usageSamples.end());
  store_.Publish(ToFamilies(all));
}

// Everything the module is asked happens here, its loading and unloading included.
void Collector::Run(std::promise<std::string>& loaded) {
  std::optional<ModuleHost::ModuleBinding> module;
  try {
    module.emplace(ModuleHost::ModuleBinding::Load(modulePath_));
  } catch (const std::exception& e) {
    loaded.set_value(e.what());
    return;
  }
  loaded.set_value("");
  ModuleHost::QueryRouter router;
  ModuleHost::AddFrameworkRoutes(router, *module);
  const ModuleAccess access{
      [&router](const std::string& query, ResultMap& result) { router.Route(query, result); },
      [&module] { return module->Identity(); }};

  Samples last;
  UsageSweep usage;
  while (!Stopping()) {
    const auto deadline = std::chrono::steady_clock::now() + interval_;
    try {
      const RoundHooks hooks{[&] { Publish(BmcDownSamples(last), usage); },
                             [this] { return Stopping(); }};
      RoundResult round = CollectRound(access, failures_, hooks);
      last = std::move(round.samples);
      usage.Resize(round.logicalProcessors);
      Publish(last, usage);
      SampleUsage(access, usage, last, deadline);
    } catch (const std::exception& e) {
      // Only running out of memory gets here; the next round tries again.
      std::fprintf(stderr, "platform_exporter: collection failed: %s\n", e.what());
    }
    WaitUntil(deadline);
  }
}

// At least one sample a round, so that a sweep ends even when rounds overrun their interval.
void Collector::SampleUsage(const ModuleAccess& access, UsageSweep& usage, const Samples& round,
                            std::chrono::steady_clock::time_point deadline) {
  bool first = true;
  while (!Stopping() && (first || std::chrono::steady_clock::now() < deadline)) {
    const auto next = usage.Next(std::chrono::steady_clock::now());
    if (!next) return;
    const Asked asked = Ask(access, failures_, UsageQuery(*next));
    usage.Record(*next, UsageRatio(asked.answer, *next), std::chrono::steady_clock::now());
    Publish(round, usage);
    first = false;
  }
}

}  // namespace Exporter
