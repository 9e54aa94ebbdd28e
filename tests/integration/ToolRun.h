#pragma once
#include <string>
#include <vector>

namespace IntegrationTest {

struct ToolResult {
  int exitStatus = -1;  // -1 when the tool did not exit normally (a signal, a sanitizer abort)
  std::string out;
  std::string err;
};

// Runs the built platformq with args and waits for it; standard output and standard error
// are captured separately.
ToolResult RunPlatformq(const std::vector<std::string>& args);

// Runs a shell command line and returns its standard output ("" when it cannot be started).
std::string CommandOutput(const std::string& commandLine);

// The first line of a command's standard output, without its newline.
std::string FirstLine(const std::string& commandLine);

}  // namespace IntegrationTest
