#pragma once
#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>

namespace Exporter {

// Where the exporter listens: an IPv4 address (0.0.0.0 for every interface) and a port, 0 for
// any free one.
struct ListenAddress {
  std::string host;
  uint16_t port = 0;
};

struct Options {
  std::string modulePath;  // "" = the module installed or built beside the exporter
  std::string configDir;   // "" = leave the settings directory as the environment has it
  ListenAddress listen;
  std::chrono::milliseconds interval{0};
};

// The outcome of reading the command line: options to run with, or the status to exit with at
// once (after --help, or after a usage error that has been reported on err).
struct CommandLine {
  std::optional<Options> options;
  int exitStatus = 0;
};

constexpr int kExitStopped = 0;      // stopped by SIGTERM or SIGINT (or --help)
constexpr int kExitCannotStart = 1;  // the module could not be loaded or the address not bound
constexpr int kExitUsage = 64;       // the command line was not understood

CommandLine ParseCommandLine(int argc, const char* const* argv, std::ostream& out,
                             std::ostream& err);

// "127.0.0.1:9739" -> {127.0.0.1, 9739}; nothing unless HOST is a dotted IPv4 address and PORT a
// decimal number up to 65535.
std::optional<ListenAddress> ParseListenAddress(const std::string& text);

// "15s", "500ms", "2m", "1h" -> milliseconds; nothing without a unit or for anything else.
std::optional<std::chrono::milliseconds> ParseDuration(const std::string& text);

// The address as the HTTP server takes it ("127.0.0.1:9739").
std::string ServerAddress(const ListenAddress& address);

}  // namespace Exporter
