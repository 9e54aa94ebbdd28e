#include "Options.h"

#include <CLI/CLI.hpp>
#include <ostream>

#include "ExitStatus.h"
#include "UsageText.h"

namespace Platformq {

namespace {

constexpr const char* kProgram = "platformq";
constexpr const char* kFormatTree = "tree";
constexpr const char* kFormatJson = "json";

constexpr const char* kDescription =
    "Loads the platform configuration module, runs each QUERY against it and prints the "
    "answers.";

constexpr const char* kFooter =
    R"(Queries are absolute paths; the first step picks the module that answers:
  /Platform/OS                                   the whole operating-system subtree
  /Platform/OS/Info/@children                    the element and the names of its children
  /Platform/OS/NetworkInfo/NIC[0]/ReceiveBytes   one counter of the first network interface
  /Platform/MemoryTopology/Errors/CorErrorCount  corrected memory errors
  /Platform/ProcessorInfo/NumberOfPhysicalProcessor  populated processor sockets
  /SMBIOS/Type4/@children                        processor records (BIOS configuration module)
  /BMC/SEL/RECORD                                system event log (BMC configuration module)

Exit status: 0 every query answered, 1 some query answered nothing, 2 an error was raised
(printed on standard error as "error CODE: message"), 64 the command line was not understood.)";

struct Parser {
  CLI::App app{kDescription, kProgram};
  Options options;
  std::string format = kFormatTree;

  Parser() {
    // Queries start with '/': CLI11 would take them for "/option" switches on Windows.
    app.allow_windows_style_options(false);
    app.add_option("--module", options.modulePath,
                   "Path of the platform configuration module to load (default: the one "
                   "built or installed beside platformq)")
        ->type_name("PATH");
    app.add_option("--config-dir", options.configDir,
                   "Directory holding the settings file OrdixServMgmtSettings.ini; sets "
                   "ORDIX_CONFIG_DIR before the module is loaded")
        ->type_name("DIR")
        // A mistyped directory would otherwise leave every setting at its default unsaid.
        ->check(CLI::ExistingDirectory);
    app.add_option("--format", format,
                   "Output: 'tree' (indented, name = value) or 'json' (an object keyed by path)")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({kFormatTree, kFormatJson}))
        ->capture_default_str();
    app.add_option("--repeat", options.repeat,
                   "Run the whole set of queries N times (at least 1), printing each round")
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--interval", options.intervalMs, "Milliseconds to wait between rounds")
        ->type_name("MS")
        ->capture_default_str();
    app.add_option("QUERY", options.queries, "One or more query paths")
        ->type_name("PATH")
        ->required();
    app.footer(kFooter);
  }
};

CommandLine UsageError(const std::string& reason, std::ostream& err) {
  ModuleHost::PrintUsageError(kProgram, reason, err);
  return {std::nullopt, kExitUsage};
}

}  // namespace

CommandLine ParseCommandLine(int argc, const char* const* argv, std::ostream& out,
                             std::ostream& err) {
  Parser parser;
  try {
    parser.app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    out << parser.app.help();
    return {std::nullopt, kExitAnswered};
  } catch (const CLI::ParseError& e) {
    return UsageError(ModuleHost::OneLine(e.what()), err);
  }
  if (parser.options.repeat < 1) return UsageError("--repeat: must be at least 1", err);
  parser.options.format = parser.format == kFormatJson ? OutputFormat::Json : OutputFormat::Tree;
  return {std::move(parser.options), kExitAnswered};
}

}  // namespace Platformq
