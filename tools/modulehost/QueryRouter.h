#pragma once
#include <functional>
#include <map>
#include <string>

#include "XNode.h"

namespace ModuleHost {

// Sends each query to the module that answers its first step ("Platform" for
// "/Platform/OS"), as the framework routes queries between its configuration modules.
class QueryRouter {
 public:
  using Handler = std::function<void(const std::string& query, ResultMap& result)>;

  // Makes handler answer every query whose first step is firstStep; a later call for the
  // same step replaces the earlier handler.
  void Add(const std::string& firstStep, Handler handler);

  // Hands query to its handler, which adds its answer to result. Returns false, leaving
  // result alone, when no handler takes the query's first step. Whatever the handler throws
  // passes through.
  bool Route(const std::string& query, ResultMap& result) const;

 private:
  std::map<std::string, Handler> handlers_;
};

// The first step of query ("" when it has none), split the way the framework splits paths.
std::string FirstStep(const std::string& query);

}  // namespace ModuleHost
