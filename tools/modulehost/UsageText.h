#pragma once
// How the module's command-line hosts report a usage error: on one line, pointing at --help.
#include <ostream>
#include <string>

namespace ModuleHost {

// CLI11's reasons can span lines; a usage error is reported on one.
std::string OneLine(std::string text);

// "PROGRAM: REASON (see PROGRAM --help)".
void PrintUsageError(const char* program, const std::string& reason, std::ostream& err);

}  // namespace ModuleHost
