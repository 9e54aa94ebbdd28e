#include "Answers.h"

#include <cctype>
#include <cstdlib>

namespace Exporter {

namespace {

constexpr size_t kMaxHexDigits = 8;
constexpr size_t kMaxDecimalDigits = 18;  // fits a long long with room to spare

bool AllOf(const std::string& text, size_t from, int (*test)(int)) {
  if (from >= text.size()) return false;
  for (size_t i = from; i < text.size(); ++i) {
    if (!test(static_cast<unsigned char>(text[i]))) return false;
  }
  return true;
}

}  // namespace

std::optional<std::string> LeafValue(const ResultMap& result, const std::string& path) {
  const auto found = result.find(path);
  if (found == result.end() || found->second.kind != XNODE_VALUE || found->second.list.empty()) {
    return std::nullopt;
  }
  return found->second.list.front();
}

std::vector<std::string> ChildPaths(const ResultMap& result, const std::string& path) {
  std::vector<std::string> children;
  const auto found = result.find(path);
  if (found == result.end() || found->second.kind != XNODE_ELEMENT) return children;
  for (const std::string& child : found->second.list) {
    // "/A" has the children "/A/B" and, for a repeated element, "/A[1]".
    if (child.size() > path.size() + 1 && child.compare(0, path.size(), path) == 0 &&
        (child[path.size()] == '/' || child[path.size()] == '[')) {
      children.push_back(child);
    }
  }
  return children;
}

std::optional<long long> WholeNumber(const std::string& text) {
  const size_t digits = !text.empty() && text[0] == '-' ? 1 : 0;
  if (!AllOf(text, digits, isdigit) || text.size() - digits > kMaxDecimalDigits) {
    return std::nullopt;
  }
  return std::strtoll(text.c_str(), nullptr, 10);
}

std::optional<double> DecimalNumber(const std::string& text) {
  const size_t dot = text.find('.');
  const std::string whole = text.substr(0, dot);
  if (!WholeNumber(whole)) return std::nullopt;
  if (dot != std::string::npos && !AllOf(text, dot + 1, isdigit)) return std::nullopt;
  return std::strtod(text.c_str(), nullptr);
}

std::optional<unsigned long> HexNumber(const std::string& text) {
  if (!AllOf(text, 0, isxdigit) || text.size() > kMaxHexDigits) return std::nullopt;
  return std::strtoul(text.c_str(), nullptr, 16);
}

std::string LastIndex(const std::string& path) {
  const size_t open = path.rfind('[');
  const size_t close = path.rfind(']');
  if (open == std::string::npos || close == std::string::npos || close < open) return "";
  return path.substr(open + 1, close - open - 1);
}

}  // namespace Exporter
