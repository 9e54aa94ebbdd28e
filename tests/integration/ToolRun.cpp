#include "ToolRun.h"

#include <stdio.h>
#include <sys/wait.h>

#include <array>
#include <fstream>
#include <iterator>
#include <memory>

#include "TempDir.h"

namespace IntegrationTest {

namespace {

struct PipeCloser {
  int* status;
  void operator()(FILE* pipe) const { *status = ::pclose(pipe); }
};

std::string ShellQuote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

// Runs commandLine through the shell; returns its output and sets waitStatus as pclose does.
std::string Capture(const std::string& commandLine, int& waitStatus) {
  waitStatus = -1;
  std::string output;
  {
    std::unique_ptr<FILE, PipeCloser> pipe(::popen(commandLine.c_str(), "r"),
                                           PipeCloser{&waitStatus});
    if (!pipe) return output;
    std::array<char, 4096> buffer{};
    size_t n = 0;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe.get())) > 0)
      output.append(buffer.data(), n);
  }
  return output;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

ToolResult RunPlatformq(const std::vector<std::string>& args) {
  const TestSupport::TempDir dir;
  const std::string errPath = dir.Path() + "/stderr";
  // exec: the shell becomes the tool, so a crash shows as a signal, not as a shell status.
  std::string commandLine = "exec " + ShellQuote(PLATFORMQ_PATH);
  for (const std::string& arg : args) commandLine += " " + ShellQuote(arg);
  commandLine += " 2>" + ShellQuote(errPath) + " </dev/null";

  ToolResult result;
  int waitStatus = -1;
  result.out = Capture(commandLine, waitStatus);
  result.err = ReadFile(errPath);
  if (waitStatus != -1 && WIFEXITED(waitStatus)) result.exitStatus = WEXITSTATUS(waitStatus);
  return result;
}

std::string CommandOutput(const std::string& commandLine) {
  int ignored = 0;
  return Capture(commandLine, ignored);
}

std::string FirstLine(const std::string& commandLine) {
  const std::string output = CommandOutput(commandLine);
  return output.substr(0, output.find('\n'));
}

}  // namespace IntegrationTest
