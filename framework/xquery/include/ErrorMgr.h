#pragma once
#include <cstdint>
#include <string>

#include "xquery_export.h"

// The framework's error-text table: one sentence for every code that the framework or one of
// its modules raises. The codes and their texts are listed in framework/xquery/ERRORS.md.
class XQUERY_EXPORT ErrorMgr {
 public:
  static ErrorMgr* GetInstance();

  // The sentence for code; a code outside the table gets a sentence that names it.
  std::string Get(uint16_t code) const;

  // Whether code is in the table.
  bool Has(uint16_t code) const;

 private:
  ErrorMgr() = default;
  static ErrorMgr instance_;
};
