// SMBIOS tables decoded into the answer tree and queried, in both forms the BIOS
// configuration module reads: an image as the dump tools write it (entry point at offset 0,
// table at the address the entry point gives), split as a configured image is; and the
// firmware's two files, taken as the entry point's 32 bytes and the rest of the input.

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "FuzzInput.h"
#include "ResultStatus.h"
#include "answer_tree.h"
#include "smbios_answers.h"
#include "smbios_entry_point.h"

namespace {

using namespace Module::BIOSConfig;

// The dump layout's table offset, and as many entry point bytes as the firmware file holds.
constexpr size_t kEntryPointFileBytes = 0x20;
// The smallest structures give the most nodes per byte: six bytes (a header and an empty
// string set) make a processor or a memory device element with fourteen leaves.
constexpr size_t kMaxNodesPerByte = 3;
constexpr size_t kFixedNodes = 16;

// What the module and the framework's callers ask of the tree.
constexpr const char* kQueries[] = {
    "/SMBIOS",
    "/BIOS",
    "/SMBIOS/Type4/@children",
    "/SMBIOS/MemoryArray/TotalNoOfArray",
    "/SMBIOS/MemoryArray[1]/MemoryDevice[1]/TypeDetail",
    "/BIOS/Vendor/@children",
};

// Elements list their children's full paths: each must be a node of the tree.
void CheckChildrenExist(const ResultMap& tree) {
  for (const auto& [path, node] : tree) {
    if (node.kind != XNODE_ELEMENT) continue;
    for (const std::string& child : node.list) {
      Fuzz::Require(tree.count(child) == 1, "every child an element lists is in the tree");
    }
  }
}

void Query(const AnswerTree& indexed, const ResultMap& tree, const std::string& query) {
  ResultMap answer;
  CopyAnswer(indexed, query, answer);
  for (const auto& [path, node] : answer) {
    const auto found = tree.find(path);
    Fuzz::Require(found != tree.end() && found->second.list == node.list,
                  "an answer copies nodes of the tree unchanged");
  }
}

// The path with its indexes left out: "/SMBIOS/Type4[2]" is "/SMBIOS/Type4[]".
std::string Shape(const std::string& path) {
  std::string shape;
  bool inIndex = false;
  for (const char c : path) {
    if (!inIndex) shape += c;
    if (c == '[') inIndex = true;
    if (c == ']' && inIndex) {
      shape += c;
      inIndex = false;
    }
  }
  return shape;
}

void DecodeAndQuery(const SmbiosTables& tables) {
  ResultMap tree;
  try {
    tree = DecodeTables(tables).tree;
  } catch (const ResultStatus&) {
    return;  // a damaged table is refused with its error code, as promised
  }
  Fuzz::Require(tree.size() <= kMaxNodesPerByte * tables.table.size() + kFixedNodes,
                "the tree grows with the table, not faster");
  CheckChildrenExist(tree);
  const AnswerTree indexed(tree);
  for (const char* query : kQueries) Query(indexed, tree, query);
  // Every shape of element in its children form, as the module asks for the processor list:
  // the hundreds of devices of a large table answer as the first does, and asking each took
  // half of the run's time.
  std::set<std::string> shapes;
  for (const auto& [path, node] : tree) {
    if (node.kind == XNODE_ELEMENT && shapes.insert(Shape(path)).second) {
      Query(indexed, tree, path + "/@children");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const ByteView input(data, size);
  try {
    DecodeAndQuery(SplitImage(input));
  } catch (const ResultStatus&) {
    // an image whose entry point is damaged or whose table lies outside it is refused
  }
  DecodeAndQuery({input.Slice(0, kEntryPointFileBytes).Copy(),
                  input.Slice(kEntryPointFileBytes, size).Copy()});
  return 0;
}
