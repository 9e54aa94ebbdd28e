#include "FuzzInput.h"

#include <cstdio>
#include <cstdlib>

namespace Fuzz {

std::vector<std::string> Lines(std::string_view text, size_t maxLines) {
  std::vector<std::string> lines;
  while (!text.empty() && lines.size() < maxLines) {
    const size_t end = text.find('\n');
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

void Require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "fuzz: broken promise: %s\n", promise);
  std::abort();
}

}  // namespace Fuzz
