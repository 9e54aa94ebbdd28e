#include "XTokenizer.h"

#include <utility>

XTokenizer::XTokenizer(std::string text, char separator)
    : text_(std::move(text)), separator_(separator) {}

std::vector<std::string> XTokenizer::TokenList() const {
  std::vector<std::string> steps;
  std::string step;
  int bracketDepth = 0;
  char quote = '\0';  // the quote character we are inside of, if any
  for (char c : text_) {
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '\'' || c == '"') {
      quote = c;
    } else if (c == '[') {
      ++bracketDepth;
    } else if (c == ']' && bracketDepth > 0) {
      --bracketDepth;
    } else if (c == separator_ && bracketDepth == 0) {
      if (!step.empty()) steps.push_back(std::move(step));
      step.clear();
      continue;
    }
    step.push_back(c);
  }
  if (!step.empty()) steps.push_back(std::move(step));
  return steps;
}
