#include "Options.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <ostream>
#include <vector>

#include "UsageText.h"

namespace Exporter {

namespace {

constexpr const char* kProgram = "platform_exporter";
// Loopback only unless asked: the metrics name the machine's hardware.
constexpr const char* kDefaultListen = "127.0.0.1:9739";
constexpr const char* kDefaultInterval = "15s";
// Collections closer than this would only keep the management controller busy.
constexpr std::chrono::milliseconds kShortestInterval{100};
// Far beyond any use, and far from overflowing the clock a deadline is reckoned on.
constexpr std::chrono::hours kLongestInterval{24};

constexpr unsigned kMaxPort = 65535;
constexpr unsigned kMaxOctet = 255;
constexpr size_t kOctets = 4;
constexpr size_t kMaxNumberDigits = 9;  // keeps every number far inside unsigned long

constexpr const char* kDescription =
    "Serves the platform configuration module's readings of this machine (DIMM state, memory "
    "errors, processor sensor states and usage, installed memory, processor counts) as "
    "Prometheus metrics at http://ADDRESS/metrics.";

constexpr const char* kFooter =
    R"(Every call into the module is made on one collector thread, every --interval; scrapes read
the latest complete collection and never wait for the module. Processor usage is sampled one
logical processor at a time (200 ms each) between collections.

Exit status: 0 stopped by SIGTERM or SIGINT, 1 the module could not be loaded or ADDRESS could
not be bound, 64 the command line was not understood.)";

std::optional<unsigned long> SmallNumber(const std::string& text) {
  if (text.empty() || text.size() > kMaxNumberDigits) return std::nullopt;
  for (const char c : text) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return std::nullopt;
  }
  return std::stoul(text);
}

bool IsIPv4(const std::string& text) {
  std::vector<std::string> octets(1);
  for (const char c : text) {
    if (c == '.') {
      octets.emplace_back();
    } else {
      octets.back() += c;
    }
  }
  if (octets.size() != kOctets) return false;
  for (const std::string& octet : octets) {
    const auto value = SmallNumber(octet);
    if (!value || *value > kMaxOctet) return false;
  }
  return true;
}

CommandLine UsageError(const std::string& reason, std::ostream& err) {
  ModuleHost::PrintUsageError(kProgram, reason, err);
  return {std::nullopt, kExitUsage};
}

}  // namespace

std::optional<ListenAddress> ParseListenAddress(const std::string& text) {
  const size_t colon = text.rfind(':');
  if (colon == std::string::npos) return std::nullopt;
  const std::string host = text.substr(0, colon);
  const auto port = SmallNumber(text.substr(colon + 1));
  if (!IsIPv4(host) || !port || *port > kMaxPort) return std::nullopt;
  return ListenAddress{host, static_cast<uint16_t>(*port)};
}

std::optional<std::chrono::milliseconds> ParseDuration(const std::string& text) {
  static const std::pair<const char*, std::chrono::milliseconds> kUnits[] = {
      {"ms", std::chrono::milliseconds(1)},
      {"s", std::chrono::seconds(1)},
      {"m", std::chrono::minutes(1)},
      {"h", std::chrono::hours(1)}};
  size_t digits = 0;
  while (digits < text.size() && std::isdigit(static_cast<unsigned char>(text[digits]))) ++digits;
  const auto count = SmallNumber(text.substr(0, digits));
  if (!count) return std::nullopt;
  for (const auto& [unit, length] : kUnits) {
    if (text.compare(digits, std::string::npos, unit) == 0) {
      return length * static_cast<long>(*count);
    }
  }
  return std::nullopt;
}

std::string ServerAddress(const ListenAddress& address) {
  return address.host + ":" + std::to_string(address.port);
}

CommandLine ParseCommandLine(int argc, const char* const* argv, std::ostream& out,
                             std::ostream& err) {
  CLI::App app{kDescription, kProgram};
  Options options;
  std::string listen = kDefaultListen;
  std::string interval = kDefaultInterval;
  app.add_option("--module", options.modulePath,
                 "Path of the platform configuration module to load (default: the one built or "
                 "installed beside the exporter)")
      ->type_name("PATH");
  app.add_option("--config-dir", options.configDir,
                 "Directory holding the settings file OrdixServMgmtSettings.ini; sets "
                 "ORDIX_CONFIG_DIR before the module is loaded")
      ->type_name("DIR");
  app.add_option("--listen", listen,
                 "IPv4 address and port to serve /metrics on (0.0.0.0 for every interface; port "
                 "0 for any free one, printed at start)")
      ->type_name("ADDRESS:PORT")
      ->capture_default_str();
  app.add_option("--interval", interval,
                 "Time between the starts of two collections (with a unit: ms, s, m or h)")
      ->type_name("DURATION")
      ->capture_default_str();
  app.footer(kFooter);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    out << app.help();
    return {std::nullopt, kExitStopped};
  } catch (const CLI::ParseError& e) {
    return UsageError(ModuleHost::OneLine(e.what()), err);
  }
  const auto address = ParseListenAddress(listen);
  if (!address) {
    return UsageError("--listen: '" + listen + "' is not an IPv4 address and port", err);
  }
  const auto every = ParseDuration(interval);
  if (!every || *every < kShortestInterval || *every > kLongestInterval) {
    return UsageError("--interval: '" + interval + "' is not a duration from 100ms to 24h", err);
  }
  options.listen = *address;
  options.interval = *every;
  return {std::move(options), kExitStopped};
}

}  // namespace Exporter
