#include "QueryRouter.h"

#include <utility>
#include <vector>

#include "XTokenizer.h"

namespace ModuleHost {

void QueryRouter::Add(const std::string& firstStep, Handler handler) {
  handlers_[firstStep] = std::move(handler);
}

bool QueryRouter::Route(const std::string& query, ResultMap& result) const {
  const auto handler = handlers_.find(FirstStep(query));
  if (handler == handlers_.end() || !handler->second) return false;
  handler->second(query, result);
  return true;
}

std::string FirstStep(const std::string& query) {
  const std::vector<std::string> steps = XTokenizer(query, '/').TokenList();
  return steps.empty() ? std::string() : steps.front();
}

}  // namespace ModuleHost
