#pragma once
// The inventory tree and the helpers every builder adds nodes with.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XNode.h"
#include "platformconfig_export.h"

namespace Module::PlatformConfig {

// The data manager's inventory: full path -> node. The tree owns its nodes; a node replaced
// under its key is released at once (nothing else refers to it).
using NodeTree = std::map<std::string, std::unique_ptr<_XNode>>;

// Adds parentPath + name (name carries its own leading "/") and appends that path to the
// parent's child list. An element gets value as its first child path when value is not
// empty; a leaf holds value. A parent that does not exist gets nothing appended.
PLATFORMCONFIG_EXPORT void AddNode(std::string parentPath, std::string name, std::string value,
                                   int asElement, NodeTree& tree);

// Stores a new leaf holding value under path, replacing what stood there; links nothing.
PLATFORMCONFIG_EXPORT void AddLeaf(std::string value, std::string path, NodeTree& tree);

// Empties every index ("Name[3]" -> "Name[]"); predicates ("[@...]") are kept as they are.
PLATFORMCONFIG_EXPORT std::string ToGenericPath(std::string path);

// The index in the last brackets of path ("/A[1]/B[12]/C" gives 12): decimal digits closed by
// "]", within 32 bits. Anything else there (a sign, blanks, a predicate, digits past 32 bits,
// no "]") names no index and gives nothing; a path without "[" gives 0.
PLATFORMCONFIG_EXPORT std::optional<uint32_t> LastIndex(const std::string& path);

// Sends query to the sibling module its first step names ("BMC"; "BIOS" or "SMBIOS") and
// returns the value list of the first entry of answer in key order. A sibling that throws
// gives [""] (error 1034 logged); a query no sibling answers gives an empty list.
PLATFORMCONFIG_EXPORT std::vector<std::string> GetQuery(const char* query, ResultMap& answer);

// The first value of the BIOS module's node pathHead + pathTail, or "" when it has none.
// tree is not used. A ResultStatus thrown by the BIOS module reaches the caller.
PLATFORMCONFIG_EXPORT std::string GetBIOSValue(std::string pathHead, std::string pathTail,
                                               NodeTree& tree);

// Copies every node of the BIOS module's answer to query into tree under RebaseKey(prefix, key);
// leaves keep their first value only. A ResultStatus thrown by the BIOS module reaches the caller.
PLATFORMCONFIG_EXPORT void ImportBIOSSubtree(std::string prefix, std::string query, NodeTree& tree);

// prefix + the last step of key's text after its last "]/" (prefix alone when that text has
// no further step): "/P" with "/A/B[3]/C/D" gives "/P/D", with "/A/B[3]/C" gives "/P".
PLATFORMCONFIG_EXPORT std::string RebaseKey(std::string prefix, std::string key);

}  // namespace Module::PlatformConfig
