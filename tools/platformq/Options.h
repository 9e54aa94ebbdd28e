#pragma once
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace Platformq {

enum class OutputFormat { Tree, Json };

struct Options {
  std::string modulePath;  // "" = the module installed or built beside platformq
  std::string configDir;   // "" = leave the settings directory as the environment has it
  OutputFormat format = OutputFormat::Tree;
  unsigned repeat = 1;
  unsigned intervalMs = 1000;
  std::vector<std::string> queries;
};

// The outcome of reading the command line: options to run with, or the status to exit with
// at once (after --help, or after a usage error that has been reported on err).
struct CommandLine {
  std::optional<Options> options;
  int exitStatus = 0;
};

CommandLine ParseCommandLine(int argc, const char* const* argv, std::ostream& out,
                             std::ostream& err);

}  // namespace Platformq
