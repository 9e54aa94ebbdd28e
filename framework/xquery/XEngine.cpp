#include "XEngine.h"

#include <utility>

XTokenizer XEngine::ParseXQuery(std::string query) const {
  return XTokenizer(std::move(query), '/');
}
