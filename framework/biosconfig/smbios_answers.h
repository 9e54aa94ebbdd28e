#pragma once
// Turns decoded structures into the answer tree: "/SMBIOS" (processors and memory) and
// "/BIOS". Each part reads only its own structure types.

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

// The answer tree of a source's bytes. Throws kSmbiosEntryPointMalformed,
// kSmbiosTableMalformed or kSmbiosBadStringIndex for damaged tables.
ResultMap DecodeTables(const SmbiosTables& tables);

// The parts, each adding its subtree; the parent elements must already be there.
void AddProcessors(const std::vector<Structure>& structures, const EntryPoint& entryPoint,
                   TreeBuilder& tree);
void AddMemoryArrays(const std::vector<Structure>& structures, TreeBuilder& tree);
void AddBios(const std::vector<Structure>& structures, TreeBuilder& tree);

}  // namespace Module::BIOSConfig
