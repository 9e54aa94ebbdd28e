#pragma once
// Turns decoded structures into the answer tree: "/SMBIOS" (processors and memory) and
// "/BIOS". Each part reads only its own structure types.

#include <string>
#include <vector>

#include "XNode.h"
#include "answer_tree.h"
#include "smbios_bytes.h"
#include "smbios_entry_point.h"
#include "smbios_structures.h"

namespace Module::BIOSConfig {

inline constexpr const char* kSmbiosRoot = "/SMBIOS";
inline constexpr const char* kProcessorsPath = "/SMBIOS/Type4";
inline constexpr const char* kMemoryArraysPath = "/SMBIOS/MemoryArray";
inline constexpr const char* kBiosRoot = "/BIOS";

struct DecodedTables {
  ResultMap tree;
  std::string damage;  // what ended the table early, "" when nothing did
};

// The answer tree of a source's bytes, from every structure that can be read. Throws
// kSmbiosEntryPointMalformed for an entry point that cannot be used and kSmbiosTableMalformed
// when not one structure can be read.
DecodedTables DecodeTables(const SmbiosTables& tables);

// The parts, each adding its subtree; the parent elements must already be there.
void AddProcessors(const std::vector<Structure>& structures, const EntryPoint& entryPoint,
                   TreeBuilder& tree);
void AddMemoryArrays(const std::vector<Structure>& structures, TreeBuilder& tree);
void AddBios(const std::vector<Structure>& structures, TreeBuilder& tree);

}  // namespace Module::BIOSConfig
