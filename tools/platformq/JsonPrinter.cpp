#include "JsonPrinter.h"

#include <nlohmann/json.hpp>

namespace Platformq {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kPrettyIndent = 2;
constexpr int kCompactIndent = -1;  // nlohmann's "no newlines at all"

Json NodeJson(const _XNode& node) {
  Json value = Json::object();
  value["kind"] = node.kind;
  value["list"] = node.list;
  return value;
}

}  // namespace

std::string FormatJson(const ResultMap& result, JsonLayout layout) {
  Json document = Json::object();
  // An ordered object looks each key up by linear search on insertion; the map's keys are
  // unique already, so they are appended to the underlying sequence directly, which keeps a
  // large answer (a long event log) linear instead of quadratic.
  auto& entries = static_cast<Json::object_t::Container&>(document.get_ref<Json::object_t&>());
  entries.reserve(result.size());
  for (const auto& [path, node] : result) entries.emplace_back(path, NodeJson(node));

  const int indent = layout == JsonLayout::Pretty ? kPrettyIndent : kCompactIndent;
  return document.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace Platformq
