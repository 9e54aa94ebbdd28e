// platform_exporter: serves the platform configuration module's readings as Prometheus metrics.
// See --help for the options and the exit statuses.

#include <prometheus/exposer.h>
#include <prometheus/registry.h>

#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "Collector.h"
#include "FailureCount.h"
#include "FrameworkHost.h"
#include "Options.h"
#include "ShutdownSignals.h"
#include "SnapshotStore.h"

namespace {

constexpr const char* kProgram = "platform_exporter";
// Enough for Prometheus and a person with a browser at the same time.
constexpr std::size_t kServerThreads = 2;

int Fail(const std::string& reason) {
  std::cerr << kProgram << ": " << reason << '\n';
  return Exporter::kExitCannotStart;
}

std::unique_ptr<prometheus::Exposer> Listen(const Exporter::ListenAddress& address) {
  try {
    return std::make_unique<prometheus::Exposer>(Exporter::ServerAddress(address), kServerThreads);
  } catch (const std::exception&) {
    // The server says no more than that it could not start.
    return nullptr;
  }
}

int Serve(const Exporter::Options& options, Exporter::ShutdownSignals& signals) {
  ModuleHost::UseConfigDir(options.configDir);
  ModuleHost::WarnOfUnreadableSettings("platform_exporter", std::cerr);
  auto registry = std::make_shared<prometheus::Registry>();
  Exporter::FailureCounter failures(*registry);
  Exporter::LogTap tap(failures);
  auto store = std::make_shared<Exporter::SnapshotStore>();

  std::unique_ptr<prometheus::Exposer> server = Listen(options.listen);
  if (!server) {
    return Fail("cannot listen on " + Exporter::ServerAddress(options.listen) +
                ": the port is in use or the address is not this machine's");
  }
  server->RegisterCollectable(store);
  server->RegisterCollectable(registry);

  Exporter::Collector collector(
      options.modulePath.empty() ? ModuleHost::InstalledModulePath() : options.modulePath,
      options.interval, *store, failures);
  if (const std::string error = collector.Start(); !error.empty()) return Fail(error);

  const int port = server->GetListeningPorts().empty() ? 0 : server->GetListeningPorts().front();
  std::cerr << kProgram << ": serving http://" << options.listen.host << ':' << port << "/metrics"
            << std::endl;
  signals.Wait();
  collector.Stop();
  return Exporter::kExitStopped;
}

}  // namespace

int main(int argc, char** argv) {
  const Exporter::CommandLine commandLine =
      Exporter::ParseCommandLine(argc, argv, std::cout, std::cerr);
  if (!commandLine.options) return commandLine.exitStatus;
  Exporter::ShutdownSignals signals;
  try {
    return Serve(*commandLine.options, signals);
  } catch (const std::exception& e) {
    return Fail(e.what());
  }
}
