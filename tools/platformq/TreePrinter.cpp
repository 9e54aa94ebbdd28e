#include "TreePrinter.h"

#include <set>
#include <utility>
#include <vector>

#include "XTokenizer.h"

namespace Platformq {

namespace {

constexpr const char* kIndentUnit = "  ";
constexpr const char* kValueSeparator = "; ";

// One pending line of the depth-first walk. The walk keeps its own stack rather than
// recursing, so a map nested as deep as it likes cannot exhaust the call stack.
struct Visit {
  std::string path;
  std::string label;
  size_t depth = 0;
};

std::string LastStep(const std::string& path) {
  const std::vector<std::string> steps = XTokenizer(path, '/').TokenList();
  return steps.empty() ? path : steps.back();
}

std::string JoinValues(const std::vector<std::string>& values) {
  std::string joined;
  for (size_t i = 0; i < values.size(); ++i) {
    if (i > 0) joined += kValueSeparator;
    joined += values[i];
  }
  return joined;
}

std::string Indent(size_t depth) {
  std::string text;
  for (size_t i = 0; i < depth; ++i) text += kIndentUnit;
  return text;
}

// The paths some other element lists as a child; a self-listing does not make a non-root.
std::set<std::string> ListedChildren(const ResultMap& result) {
  std::set<std::string> listed;
  for (const auto& [path, node] : result) {
    if (node.kind != XNODE_ELEMENT) continue;
    for (const std::string& child : node.list) {
      if (child != path) listed.insert(child);
    }
  }
  return listed;
}

class TreeWriter {
 public:
  explicit TreeWriter(const ResultMap& result) : result_(result) {}

  void WriteFrom(const std::string& root) {
    std::vector<Visit> pending{{root, root, 0}};
    while (!pending.empty()) {
      const Visit visit = std::move(pending.back());
      pending.pop_back();
      WriteNode(visit, pending);
    }
  }

  bool Written(const std::string& path) const { return written_.count(path) != 0; }
  std::string TakeText() { return std::move(text_); }

 private:
  void WriteNode(const Visit& visit, std::vector<Visit>& pending) {
    text_ += Indent(visit.depth) + visit.label;
    const auto entry = result_.find(visit.path);
    // A node met a second time (through a cycle, or listed twice) prints its name alone: this
    // ends every walk and keeps the output proportional to the map.
    if (entry == result_.end() || Written(visit.path)) {
      text_ += '\n';
      return;
    }
    written_.insert(visit.path);
    const _XNode& node = entry->second;
    if (node.kind != XNODE_ELEMENT) {
      text_ += node.list.empty() ? " =" : " = " + JoinValues(node.list);
      text_ += '\n';
      return;
    }
    text_ += '\n';
    // Pushed in reverse so that children come off the stack in their listed order.
    for (auto child = node.list.rbegin(); child != node.list.rend(); ++child) {
      pending.push_back({*child, LastStep(*child), visit.depth + 1});
    }
  }

  const ResultMap& result_;
  std::set<std::string> written_;
  std::string text_;
};

}  // namespace

std::string FormatTree(const ResultMap& result) {
  const std::set<std::string> listed = ListedChildren(result);
  TreeWriter writer(result);
  for (const auto& entry : result) {
    if (listed.count(entry.first) == 0) writer.WriteFrom(entry.first);
  }
  // Whatever is left is listed only from within a cycle that no root leads into.
  for (const auto& entry : result) {
    if (!writer.Written(entry.first)) writer.WriteFrom(entry.first);
  }
  return writer.TakeText();
}

}  // namespace Platformq
