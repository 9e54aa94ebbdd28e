#pragma once
#include <string>

#include "XNode.h"

namespace Platformq {

// The path a query's answer is stored under: the query without a trailing "/@children".
std::string BasePath(const std::string& query);

// Whether result holds an answer to query: an entry at its base path that is an element or a
// leaf with at least one value, or else entries indexed under it ("PATH[00001]", ...). The module leaves an empty leaf behind for an "@children"
// query it could not answer, so such a leaf counts as no answer.
bool IsAnswered(const std::string& query, const ResultMap& result);

}  // namespace Platformq
