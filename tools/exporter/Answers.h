#pragma once
// Reading the module's answers: every value is text, a failed reading is an error key in place of
// the value, and an element lists its children's full paths.

#include <optional>
#include <string>
#include <vector>

#include "XNode.h"

namespace Exporter {

// The value of the leaf at path, or nothing when result has no such leaf or it holds no value.
std::optional<std::string> LeafValue(const ResultMap& result, const std::string& path);

// The child paths of the element at path (empty when there is none): "/A/B" and "/A[1]" for
// "/A". An element the module marked failed lists its error key among them, so only paths below
// path are given.
std::vector<std::string> ChildPaths(const ResultMap& result, const std::string& path);

// A whole decimal number ("32768", "-1"); nothing for error keys, "Unknown", blanks or junk.
std::optional<long long> WholeNumber(const std::string& text);

// A decimal number with an optional fraction ("12.500000").
std::optional<double> DecimalNumber(const std::string& text);

// A hexadecimal number as the module writes it ("9", "f", "e0"), at most 8 digits.
std::optional<unsigned long> HexNumber(const std::string& text);

// The index in the last "[n]" step of path ("/A/B[12]" -> "12"), or "" when it has none.
std::string LastIndex(const std::string& path);

}  // namespace Exporter
