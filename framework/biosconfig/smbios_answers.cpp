#include "smbios_answers.h"

#include <algorithm>

#include "smbios_values.h"

namespace Module::BIOSConfig {

namespace {

constexpr uint8_t kBiosType = 0;
constexpr size_t kBiosVendorOffset = 0x04;
constexpr size_t kBiosVersionOffset = 0x05;
constexpr size_t kBiosReleaseDateOffset = 0x08;

}  // namespace

ResultMap DecodeTables(const SmbiosTables& tables) {
  const EntryPoint entryPoint = DecodeEntryPoint(tables.entryPoint);
  const std::vector<Structure> structures =
      WalkTable(TableWindow(entryPoint, tables.table), entryPoint);
  TreeBuilder tree;
  tree.Element("", kSmbiosRoot);
  tree.Element(kSmbiosRoot, kProcessorsPath);
  tree.Element(kSmbiosRoot, kMemoryArraysPath);
  AddProcessors(structures, entryPoint, tree);
  AddMemoryArrays(structures, tree);
  AddBios(structures, tree);
  return tree.Take();
}

// A machine has one BIOS Information structure; should a table hold more, the first counts.
// Without one there is no "/BIOS" at all.
void AddBios(const std::vector<Structure>& structures, TreeBuilder& tree) {
  const auto bios = std::find_if(structures.begin(), structures.end(),
                                 [](const Structure& s) { return s.type == kBiosType; });
  if (bios == structures.end()) return;
  const std::string root = kBiosRoot;
  tree.Element("", root);
  tree.Leaf(root, root + "/Vendor", StringText(*bios, kBiosVendorOffset));
  tree.Leaf(root, root + "/Version", StringText(*bios, kBiosVersionOffset));
  tree.Leaf(root, root + "/ReleaseDate", StringText(*bios, kBiosReleaseDateOffset));
}

}  // namespace Module::BIOSConfig
