#pragma once
// The one thread that calls the module (it answers one query at a time): it loads the module,
// collects a round every interval, samples processor usage in the time left over, publishes each
// result at once, and unloads the module when it stops.

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <string>
#include <thread>

#include "Asking.h"
#include "FailureCount.h"
#include "Metrics.h"
#include "SnapshotStore.h"
#include "UsageSweep.h"

namespace Exporter {

class Collector {
 public:
  Collector(std::string modulePath, std::chrono::milliseconds interval, SnapshotStore& store,
            FailureCounter& failures);
  ~Collector();
  Collector(const Collector&) = delete;
  Collector& operator=(const Collector&) = delete;

  // Starts the thread and waits until it has loaded the module: returns "" then, or why the
  // module could not be loaded (the thread has ended).
  std::string Start();

  // Lets the call into the module that is under way finish, then ends the thread.
  void Stop();

 private:
  void Run(std::promise<std::string>& loaded);
  void SampleUsage(const ModuleAccess& access, UsageSweep& usage, const Samples& round,
                   std::chrono::steady_clock::time_point deadline);
  void Publish(const Samples& round, const UsageSweep& usage);
  // Waits until deadline or Stop; false once stopping.
  bool WaitUntil(std::chrono::steady_clock::time_point deadline);
  bool Stopping();

  std::string modulePath_;
  std::chrono::milliseconds interval_;
  SnapshotStore& store_;
  FailureCounter& failures_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace Exporter
