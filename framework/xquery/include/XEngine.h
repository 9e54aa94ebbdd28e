#pragma once
#include <string>

#include "XTokenizer.h"
#include "xquery_export.h"

class XQUERY_EXPORT XEngine {
 public:
  XTokenizer ParseXQuery(std::string query) const;
};
