#include "UsageText.h"

namespace ModuleHost {

std::string OneLine(std::string text) {
  for (char& c : text) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

void PrintUsageError(const char* program, const std::string& reason, std::ostream& err) {
  err << program << ": " << reason << " (see " << program << " --help)\n";
}

}  // namespace ModuleHost
