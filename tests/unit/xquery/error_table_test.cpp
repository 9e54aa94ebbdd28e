#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <string>

#include "ErrorMgr.h"
#include "ResultStatus.h"

namespace {

// The documented table, code -> sentence, read from ERRORS.md.
std::map<int, std::string> DocumentedErrors() {
  std::ifstream in(ERRORS_MD);
  EXPECT_TRUE(in) << "cannot open " << ERRORS_MD;
  const std::regex row(R"(^\|\s*(\d+)\s*\|[^|]*\|\s*(.*?)\s*\|\s*$)");
  std::map<int, std::string> table;
  std::string line;
  std::smatch m;
  while (std::getline(in, line)) {
    if (std::regex_match(line, m, row)) table[std::stoi(m[1])] = m[2];
  }
  return table;
}

TEST(ErrorMgr, EveryDocumentedCodeHasItsSentence) {
  const auto documented = DocumentedErrors();
  ASSERT_FALSE(documented.empty());
  for (const auto& [code, sentence] : documented) {
    EXPECT_TRUE(ErrorMgr::GetInstance()->Has(static_cast<uint16_t>(code))) << code;
    EXPECT_EQ(ErrorMgr::GetInstance()->Get(static_cast<uint16_t>(code)), sentence) << code;
  }
  // And nothing in the table is undocumented.
  for (int code = 0; code <= 0xFFFF; ++code) {
    if (ErrorMgr::GetInstance()->Has(static_cast<uint16_t>(code))) {
      EXPECT_EQ(documented.count(code), 1u) << "code " << code << " is not in ERRORS.md";
    }
  }
}

TEST(ErrorMgr, CoversEveryCodeTheModuleRaises) {
  const int moduleCodes[] = {1006, 1018, 1026, 1027, 1029, 1030, 1031, 1032,
                             1033, 1034, 1035, 1036, 1037, 1038, 1039, 1047};
  for (int code : moduleCodes) {
    EXPECT_TRUE(ErrorMgr::GetInstance()->Has(static_cast<uint16_t>(code))) << code;
  }
}

TEST(ErrorMgr, UnknownCodeIsNamedInItsSentence) {
  EXPECT_FALSE(ErrorMgr::GetInstance()->Has(9999));
  EXPECT_NE(ErrorMgr::GetInstance()->Get(9999).find("9999"), std::string::npos);
}

TEST(ResultStatus, CarriesWhatItWasMadeWith) {
  try {
    throw ResultStatus(1047, "message", "detail", XCOMMAND_PROCESS_XQUERY);
  } catch (const ResultStatus& status) {
    EXPECT_EQ(status.GetCode(), 1047);
    EXPECT_EQ(status.GetMessage(), "message");
    EXPECT_EQ(status.GetDetail(), "detail");
    EXPECT_EQ(status.GetCommand(), XCOMMAND_PROCESS_XQUERY);
  }
}

}  // namespace
