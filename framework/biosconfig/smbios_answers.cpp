#include "smbios_answers.h"

#include <algorithm>

#include "smbios_values.h"

namespace Module::BIOSConfig {

namespace {

constexpr uint8_t kBiosType = 0;
constexpr size_t kBiosVendorOffset = 0x04;
constexpr size_t kBiosVersionOffset = 0x05;
constexpr size_t kBiosReleaseDateOffset = 0x08;
// The vendor, version and date came with the first layout, which ends here.
constexpr size_t kBiosFirstLayoutEnd = 0x12;

}  // namespace

DecodedTables DecodeTables(const SmbiosTables& tables) {
  const EntryPoint entryPoint = DecodeEntryPoint(tables.entryPoint);
  TableWalk walk = WalkTable(TableWindow(entryPoint, tables.table), entryPoint);
  const std::vector<Structure>& structures = walk.structures;
  TreeBuilder tree;
  tree.Element("", kSmbiosRoot);
  tree.Element(kSmbiosRoot, kProcessorsPath);
  tree.Element(kSmbiosRoot, kMemoryArraysPath);
  AddProcessors(structures, entryPoint, tree);
  AddMemoryArrays(structures, tree);
  AddBios(structures, tree);
  return {tree.Take(), std::move(walk.damage)};
}

// A machine has one BIOS Information structure; should a table hold more, the first counts.
// Without one there is no "/BIOS" at all.
void AddBios(const std::vector<Structure>& structures, TreeBuilder& tree) {
  const auto bios = std::find_if(structures.begin(), structures.end(),
                                 [](const Structure& s) { return s.type == kBiosType; });
  if (bios == structures.end()) return;
  const Structure s = WholeGroups(*bios, {kBiosFirstLayoutEnd});
  const std::string root = kBiosRoot;
  tree.Element("", root);
  tree.Leaf(root, root + "/Vendor", StringText(s, kBiosVendorOffset));
  tree.Leaf(root, root + "/Version", StringText(s, kBiosVersionOffset));
  tree.Leaf(root, root + "/ReleaseDate", StringText(s, kBiosReleaseDateOffset));
}

}  // namespace Module::BIOSConfig
