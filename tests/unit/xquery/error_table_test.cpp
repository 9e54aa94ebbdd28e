#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>

#include "ErrorMgr.h"

namespace {

// The documented table and the code's table must say the same, both ways.
TEST(ErrorMgr, TableMatchesTheDocumentAndCoversTheModule) {
  std::ifstream in(ERRORS_MD);
  ASSERT_TRUE(in) << ERRORS_MD;
  const std::regex row(R"(^\|\s*(\d+)\s*\|[^|]*\|\s*(.*?)\s*\|\s*$)");
  std::map<int, std::string> documented;
  std::smatch m;
  for (std::string line; std::getline(in, line);) {
    if (std::regex_match(line, m, row)) documented[std::stoi(m[1])] = m[2];
  }
  const ErrorMgr& errors = *ErrorMgr::GetInstance();
  for (const auto& [code, sentence] : documented) {
    EXPECT_EQ(errors.Get(static_cast<uint16_t>(code)), sentence) << code;
  }
  for (int code = 0; code <= 0xFFFF; ++code) {
    if (errors.Has(static_cast<uint16_t>(code))) {
      EXPECT_EQ(documented.count(code), 1u) << code;
    }
  }
  for (int code : {1006, 1018, 1026, 1027, 1029, 1030, 1031, 1032, 1033, 1034, 1035, 1036, 1037,
                   1038, 1039, 1047}) {
    EXPECT_TRUE(errors.Has(static_cast<uint16_t>(code))) << code;
  }
  EXPECT_NE(errors.Get(9999).find("9999"), std::string::npos);  // an unknown code is named
}

}  // namespace
