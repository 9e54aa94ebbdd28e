#pragma once
#include <string>
#include <vector>

#include "xquery_export.h"

// Splits a query into its steps. A separator inside a predicate ("[...]") or inside quotes
// does not split, so "/A[@x='1/2']/B" has the two steps "A[@x='1/2']" and "B".
class XQUERY_EXPORT XTokenizer {
 public:
  XTokenizer(std::string text, char separator);

  // The steps, without empty ones ("/A//B/" gives "A", "B").
  std::vector<std::string> TokenList() const;

 private:
  std::string text_;
  char separator_;
};
